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

std::string Features(HACMDRIVERID driver) {
  ACMDRIVERDETAILSA details{};
  details.cbStruct = sizeof details;
  return acmDriverDetailsA(driver, &details, 0) == 0 ? details.szFeatures : "";
}

}  // namespace

bool ListConversionDrivers(std::vector<ConversionDriverText>& drivers) {
  const ComboBox combo;
  CMMWav directory;  // any object will do
  if (combo.Window() == nullptr || directory.ListUpDriver(combo.Window()) != 1) return false;
  for (std::uint32_t row = 0; row < combo.Rows(); ++row) {
    drivers.push_back({combo.Text(row), Features(directory.ListFromDriver(combo.Window(), row))});
  }
  return true;
}
