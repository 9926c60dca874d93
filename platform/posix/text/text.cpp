// Code pages, double-byte text and debug output.
#include "platform/posix/text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "platform/posix/core/never_destroyed.h"
#include "platform/posix/layer.h"
#include "platform/posix/text/codepage.h"

namespace platform {
namespace detail {
namespace {

constexpr unsigned kShiftJis = 932;
constexpr unsigned kUtf8 = 65001;

constinit std::atomic<unsigned> chosenCodePage{0};  // 0: the environment's

struct Debugger {
  std::recursive_mutex lock;  // held while the sink runs; recursive, as the sink may call SetDebugSink
  std::atomic<DebugSink> sink{nullptr};
  void* context = nullptr;
};

constexpr char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Compares the names of character sets without regard to case, '-' and '_': Shift_JIS is shift-jis.
/// @param plain small letters and digits only
bool SameCharset(std::string_view name, std::string_view plain) {
  for (const char c : name) {
    if (c == '-' || c == '_') continue;
    if (plain.empty() || plain.front() != Lower(c)) return false;
    plain.remove_prefix(1);
  }
  return plain.empty();
}

/// The locale name of the environment: the first variable that is set to something.
std::string_view EnvironmentLocale() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value && *value != '\0') return value;
  }
  return {};
}

unsigned EnvironmentCodePage() {
  constexpr std::array<std::string_view, 8> kShiftJisNames = {"sjis",   "shiftjis",   "cp932",   "ibm932",
                                                              "ibm943", "windows31j", "mskanji", "pck"};
  // language[_territory][.charset][@modifier]
  std::string_view locale = EnvironmentLocale();
  locale = locale.substr(0, locale.find('@'));
  const std::size_t dot = locale.find('.');
  if (dot == std::string_view::npos) return kUtf8;
  const std::string_view charset = locale.substr(dot + 1);
  const bool isShiftJis = std::any_of(kShiftJisNames.begin(), kShiftJisNames.end(),
                                      [&](std::string_view known) { return SameCharset(charset, known); });
  return isShiftJis ? kShiftJis : kUtf8;
}

/// Reads the next character of a string of at most @p left bytes. @return 0 at its end
unsigned TakeCharacter(const unsigned char*& text, std::size_t& left) {
  if (left == 0) return 0;
  const unsigned first = *text++;
  --left;
  if (!IsDBCSLeadByte(static_cast<BYTE>(first))) return first;
  if (left == 0 || *text == 0) return 0;
  --left;
  return first << 8 | *text++;
}

constexpr bool IsShiftJisLead(unsigned char byte) {
  return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

}  // namespace

bool NativePath(const char* path, char* out, std::size_t size) noexcept {
  if (size == 0) return false;
  const bool doubleBytes = CodePage() == kShiftJis;
  bool trail = false;
  for (std::size_t i = 0; path && i < size; ++i) {
    out[i] = path[i] == '\\' && !trail ? '/' : path[i];
    if (path[i] == '\0') return true;
    trail = doubleBytes && !trail && IsShiftJisLead(static_cast<unsigned char>(path[i]));
  }
  out[0] = '\0';
  return false;
}

}  // namespace detail

using namespace detail;

void SetDebugSink(DebugSink sink, void* context) {
  auto& debugger = NeverDestroyed<Debugger>();
  const std::lock_guard lock(debugger.lock);
  debugger.sink = sink;
  debugger.context = context;
}

void SetCodePage(unsigned codePage) {
  chosenCodePage = codePage;
}

unsigned CodePage() {
  const unsigned chosen = chosenCodePage;
  return chosen != 0 ? chosen : EnvironmentCodePage();
}

}  // namespace platform

using namespace platform::detail;

int _mbsnbcmp(const unsigned char* one, const unsigned char* other, std::size_t count) {
  for (std::size_t otherCount = count;;) {
    const unsigned a = TakeCharacter(one, count);
    const unsigned b = TakeCharacter(other, otherCount);
    if (a != b) return a < b ? -1 : 1;
    if (a == 0) return 0;
  }
}

void OutputDebugStringA(LPCSTR text) {
  auto& debugger = NeverDestroyed<Debugger>();
  if (!text || !debugger.sink) return;  // the usual case costs no lock
  const std::lock_guard lock(debugger.lock);
  if (const auto sink = debugger.sink.load()) sink(debugger.context, text);
}

BOOL IsDBCSLeadByte(BYTE byte) {
  // The byte first: most are no lead bytes, and the code page may have to be read from the environment.
  return IsShiftJisLead(byte) && platform::CodePage() == kShiftJis ? TRUE : FALSE;
}

LPSTR CharNextA(LPCSTR text) {
  if (*text == '\0') return const_cast<LPSTR>(text);
  const bool two = IsDBCSLeadByte(static_cast<BYTE>(text[0])) && text[1] != '\0';
  return const_cast<LPSTR>(text + (two ? 2 : 1));
}

unsigned char* _mbsnbcpy(unsigned char* to, const unsigned char* from, std::size_t count) {
  std::size_t done = 0;
  while (done < count && from[done] != '\0') {
    if (IsDBCSLeadByte(from[done])) {
      if (done + 1 == count || from[done + 1] == '\0') break;
      to[done] = from[done];
      ++done;
    }
    to[done] = from[done];
    ++done;
  }
  std::fill(to + done, to + count, static_cast<unsigned char>(0));
  return to;
}
