#pragma once
// The notification points of a capture buffer.

#include <algorithm>
#include <vector>

#include "platform/posix/dsound.h"
#include "platform/posix/sync.h"

namespace platform::detail {

/// Events that are signalled when the read position passes a byte of the ring, or at the stop. The owner's
/// lock guards all of it.
class Notifications {
 public:
  struct Point {
    DWORD offset;  // byte of the ring, or DSBPN_OFFSETSTOP
    HANDLE event;
    bool pending = false;  // signalled, and not withdrawn since

    bool OfStop() const { return offset == DSBPN_OFFSETSTOP; }
    void Signal() {
      pending = true;
      SetEvent(event);
    }
  };

  void Set(std::vector<Point> points) { points_.swap(points); }

  bool WakeForData() const {
    return AnyOfData([](DWORD) { return true; });
  }
  /// @param covers of an offset, whether a point there counts
  template <class Covers>
  bool AnyOfData(Covers covers) const {
    return std::any_of(points_.begin(), points_.end(),
                       [&](const Point& each) { return !each.OfStop() && covers(each.offset); });
  }

  void SignalStop() {
    for (Point& each : points_)
      if (each.OfStop()) each.Signal();
  }
  void SignalData() { SignalDataIn(0, DSBPN_OFFSETSTOP); }
  /// Signals the points of @p bytes from @p begin on.
  void SignalDataIn(DWORD begin, DWORD bytes) {
    for (Point& each : points_)
      if (!each.OfStop() && each.offset >= begin && each.offset - begin < bytes) each.Signal();
  }

  /// Takes back the notifications of data. An event that also tells of the stop stays.
  void WithdrawData() {
    for (Point& each : points_) {
      if (!each.pending || each.OfStop()) continue;
      each.pending = false;
      if (!TellsOfStop(each.event)) ResetEvent(each.event);
    }
  }
  /// Takes back all of them.
  void Withdraw() {
    for (Point& each : points_) {
      if (each.pending) ResetEvent(each.event);
      each.pending = false;
    }
  }

  /// Whether an event that was signalled for data is still set, so that nobody has woken for it. Looking sets
  /// an automatic event again.
  bool AnyDataEventSet() const {
    return std::any_of(points_.begin(), points_.end(), [](const Point& each) {
      return !each.OfStop() && each.pending && WaitForSingleObject(each.event, 0) == WAIT_OBJECT_0 &&
             SetEvent(each.event) != FALSE;
    });
  }

 private:
  bool TellsOfStop(HANDLE event) const {
    return std::any_of(points_.begin(), points_.end(), [event](const Point& each) {
      return each.event == event && each.OfStop() && each.pending;
    });
  }

  std::vector<Point> points_;
};

}  // namespace platform::detail
