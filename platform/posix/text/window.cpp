// The combo box, the only control of the layer.
#include "platform/posix/window.h"

#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "platform/posix/core/handles.h"
#include "platform/posix/layer.h"
#include "platform/posix/sync.h"

namespace platform {
namespace detail {
namespace {

/// A list that keeps the order in which its rows were added.
class ComboBox final : public Object {
 public:
  LRESULT Answer(UINT message, WPARAM first, LPARAM second) {
    const std::lock_guard lock(lock_);
    if (message == CB_GETCOUNT) return static_cast<LRESULT>(rows_.size());
    if (message == CB_ADDSTRING) return Add(reinterpret_cast<const char*>(second));
    return first < rows_.size() ? AnswerRow(rows_[first], message, second) : CB_ERR;
  }

 private:
  struct Row {
    std::string text;
    LPARAM data = 0;
  };

  LRESULT Add(const char* text) {
    if (!text) return CB_ERR;
    rows_.push_back({text});
    return static_cast<LRESULT>(rows_.size() - 1);
  }

  static LRESULT AnswerRow(Row& row, UINT message, LPARAM second) {
    if (message == CB_GETITEMDATA) return row.data;
    if (message == CB_SETITEMDATA) {
      row.data = second;
      return CB_OKAY;
    }
    if (message == CB_GETLBTEXT) {
      if (second == 0) return CB_ERR;
      std::memcpy(reinterpret_cast<char*>(second), row.text.c_str(), row.text.size() + 1);
    }
    return static_cast<LRESULT>(row.text.size());
  }

  std::mutex lock_;
  std::vector<Row> rows_;
};

bool IsComboMessage(UINT message) {
  switch (message) {
    case CB_ADDSTRING:
    case CB_GETCOUNT:
    case CB_GETLBTEXT:
    case CB_GETLBTEXTLEN:
    case CB_GETITEMDATA:
    case CB_SETITEMDATA:
      return true;
    default:
      return false;
  }
}

}  // namespace
}  // namespace detail

using namespace detail;

HWND CreateComboBox() try {
  return static_cast<HWND>(OpenHandle(std::make_shared<ComboBox>()));
} catch (const std::bad_alloc&) {
  return nullptr;
}

void DestroyComboBox(HWND combo) {
  if (FindObject<ComboBox>(combo)) CloseHandle(combo);
}

}  // namespace platform

using namespace platform::detail;

LRESULT SendMessageA(HWND window, UINT message, WPARAM first, LPARAM second) try {
  const auto combo = FindObject<ComboBox>(window);
  return combo && IsComboMessage(message) ? combo->Answer(message, first, second) : 0;
} catch (const std::bad_alloc&) {
  return CB_ERRSPACE;
}
