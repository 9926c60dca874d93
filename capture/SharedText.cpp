#include "capture/SharedText.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>

namespace capture {
namespace {

using Holders = std::atomic<std::uint32_t>;

Holders& HoldersOf(char* text) {
  return *std::launder(reinterpret_cast<Holders*>(text - sizeof(Holders)));
}

}  // namespace

char* NewText(const char* text) noexcept {
  const std::size_t size = std::strlen(text) + 1;
  void* block = ::operator new(sizeof(Holders) + size, std::nothrow);
  if (block == nullptr) return nullptr;
  new (block) Holders(1);
  char* characters = static_cast<char*>(block) + sizeof(Holders);
  std::memcpy(characters, text, size);
  return characters;
}

void KeepText(char* text) noexcept {
  if (text != nullptr) HoldersOf(text).fetch_add(1, std::memory_order_relaxed);
}

void DropText(char*& text) noexcept {
  char* const dropped = text;
  text = nullptr;
  if (dropped == nullptr || HoldersOf(dropped).fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  ::operator delete(&HoldersOf(dropped));
}

}  // namespace capture
