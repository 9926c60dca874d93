#pragma once
// The notification points of a capture buffer.

#include <algorithm>
#include <vector>

#include "platform/posix/dsound.h"
#include "platform/posix/sync.h"

namespace platform::detail {

/// Events that are signalled when the read position passes a byte of the ring, or at the stop. All of it is
/// guarded by the owner's lock.
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

  bool HasDataPoints() const {
    return AnyDataPoint([](DWORD) { return true; });
  }
  /// @param covers gives true for the offsets that count
  template <class Covers>
  bool AnyDataPoint(Covers covers) const {
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

  /// Resets the events of data. One that is also signalled for the stop stays set.
  void WithdrawData() {
    for (Point& each : points_) {
      if (!each.pending || each.OfStop()) continue;
      each.pending = false;
      if (!HasSignalledStop(each.event)) ResetEvent(each.event);
    }
  }
  /// Resets all events that are signalled.
  void Withdraw() {
    for (Point& each : points_) {
      if (each.pending) ResetEvent(each.event);
      each.pending = false;
    }
  }

  /// @return true: an event that was signalled for data is still set, so nobody has woken for it. The check
  ///         resets an automatic event, so it is set again
  bool AnyDataEventSet() const {
    return std::any_of(points_.begin(), points_.end(), [](const Point& each) {
      return !each.OfStop() && each.pending && WaitForSingleObject(each.event, 0) == WAIT_OBJECT_0 &&
             SetEvent(each.event) != FALSE;
    });
  }

 private:
  bool HasSignalledStop(HANDLE event) const {
    return std::any_of(points_.begin(), points_.end(), [event](const Point& each) {
      return each.event == event && each.OfStop() && each.pending;
    });
  }

  std::vector<Point> points_;
};

}  // namespace platform::detail
