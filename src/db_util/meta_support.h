// Empty compile-time types that name other types.
#pragma once

namespace meta_support {

// Names the type T.
template <typename T>
struct TypeIdentity {
  using type = T;
  friend constexpr bool operator==(TypeIdentity, TypeIdentity) { return true; }
};

// A list of types.
template <typename... T>
struct TypeList {};

}  // namespace meta_support
