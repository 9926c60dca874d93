#pragma once
// What an object and its copies have in common: everything.

namespace units {

/// Objects that are copies of each other stand in a ring, linked by a field of their own. What an operation
/// changes in one is stored in all of them, so none is ever left with a handle that another has closed, and
/// the last to go closes what is open. An object without copies is a ring of one and pays nothing for it.
template <class Unit, Unit* Unit::*kNext, auto... kFields>
class CopyRing {
 public:
  static bool Alone(const Unit& unit) { return unit.*kNext == &unit; }

  static bool Together(const Unit& unit, const Unit& other) {
    for (const Unit* one = unit.*kNext; one != &unit; one = one->*kNext) {
      if (one == &other) return true;
    }
    return &unit == &other;
  }

  /// Makes @p unit, which is alone and holds nothing, a copy of @p other. A unit that is const by declaration
  /// is no obstacle: no operation but its end can be called on it, and nothing of it lies in constant memory.
  static void Join(Unit& unit, const Unit& other) {
    CopyFields(unit, other);
    unit.*kNext = other.*kNext;
    const_cast<Unit&>(other).*kNext = &unit;
  }

  static void Leave(Unit& unit) {
    Unit* before = &unit;
    while (before->*kNext != &unit) before = before->*kNext;
    before->*kNext = unit.*kNext;
    unit.*kNext = &unit;
  }

  /// Stands at the head of an operation that changes fields: its end tells the copies.
  class Telling {
   public:
    explicit Telling(const Unit& unit) : unit_(unit) {}
    Telling(const Telling&) = delete;
    Telling& operator=(const Telling&) = delete;
    ~Telling() {
      for (Unit* one = unit_.*kNext; one != &unit_; one = one->*kNext) CopyFields(*one, unit_);
    }

   private:
    const Unit& unit_;
  };

 private:
  static void CopyFields(Unit& to, const Unit& from) { ((to.*kFields = from.*kFields), ...); }
};

}  // namespace units
