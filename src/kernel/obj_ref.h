// The reference to a database object, as the kernel and the engine both write it.
#pragma once

#include <compare>
#include <cstddef>

// A reference to a database object. References are equal, and ordered, by `oid` alone: the address
// is a hint of the kernel that may change while the object stays the same.
struct QD_OBJ_REF {
  unsigned long oid = 0;      // The object's identifier; 0 is the null reference.
  unsigned long address = 0;  // Bits 63-16: the kernel's address word; bits 15-0: a layout id.

  friend bool operator==(QD_OBJ_REF const& left, QD_OBJ_REF const& right) {
    return left.oid == right.oid;
  }
  friend std::strong_ordering operator<=>(QD_OBJ_REF const& left, QD_OBJ_REF const& right) {
    return left.oid <=> right.oid;
  }
};
