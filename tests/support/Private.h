#pragma once

/// Gives a test access to one private field: PRIVATE_FIELD(Name, Class, Type, field) makes Name(object) a
/// reference to it. An explicit instantiation may name private members, and the friend that it defines hands
/// the pointer out.
#define PRIVATE_FIELD(Name, Class, Type, field)                     \
  namespace private_access {                                        \
  struct Name##Tag {                                                \
    friend constexpr Type Class::*Get(Name##Tag);                   \
  };                                                                \
  template <Type Class::*Member>                                    \
  struct Name##Access {                                             \
    friend constexpr Type Class::*Get(Name##Tag) { return Member; } \
  };                                                                \
  template struct Name##Access<&Class::field>;                      \
  }                                                                 \
  inline Type& Name(Class& object) {                                \
    return object.*Get(private_access::Name##Tag{});                \
  }
