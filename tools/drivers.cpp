// CMMWav fills a combo box, as hosts with a window show one. A program without a window makes an invisible
// one and reads its rows.

#include "tools/drivers.h"

#include "wavfile/CMMWav.h"

namespace {

class ComboBox {
 public:
  ComboBox() : window_(NewComboBox()) {}
  ~ComboBox() {
    if (window_ != nullptr) DropComboBox(window_);
  }
  ComboBox(const ComboBox&) = delete;
  ComboBox& operator=(const ComboBox&) = delete;

  HWND Window() const { return window_; }
  std::uint32_t Rows() const { return static_cast<std::uint32_t>(SendMessageA(window_, CB_GETCOUNT, 0, 0)); }
  std::string Text(std::uint32_t row) const {
    const LRESULT length = SendMessageA(window_, CB_GETLBTEXTLEN, row, 0);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (!text.empty()) SendMessageA(window_, CB_GETLBTEXT, row, reinterpret_cast<LPARAM>(text.data()));
    return text;
  }

 private:
  HWND window_;
};

/// Counts the drivers that ListUpDriver lists.
BOOL __stdcall Count(HACMDRIVERID /*driver*/, DWORD_PTR count, DWORD support) {
  constexpr DWORD kListed = ACMDRIVERDETAILS_SUPPORTF_CODEC | ACMDRIVERDETAILS_SUPPORTF_CONVERTER |
                            ACMDRIVERDETAILS_SUPPORTF_FILTER;
  if ((support & kListed) != 0) ++*reinterpret_cast<std::uint32_t*>(count);
  return TRUE;
}

}  // namespace

bool ListConversionDrivers(std::vector<ConversionDriverText>& drivers) {
  const ComboBox combo;
  CMMWav directory;  // any object will do
  if (combo.Window() == nullptr || directory.ListUpDriver(combo.Window()) != 1) return false;
  // A row for which memory was short is left out.
  std::uint32_t all = 0;
  if (acmDriverEnum(Count, reinterpret_cast<DWORD_PTR>(&all), 0) != 0 || combo.Rows() != all) return false;
  for (std::uint32_t row = 0; row < all; ++row) {
    ACMDRIVERDETAILSA details{};
    details.cbStruct = sizeof details;
    const HACMDRIVERID driver = directory.ListFromDriver(combo.Window(), row);
    if (acmDriverDetailsA(driver, &details, 0) == MMSYSERR_NOMEM) return false;
    drivers.push_back({combo.Text(row), details.szFeatures});
  }
  return true;
}
