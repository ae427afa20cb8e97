// The field values that objects are written with.
#pragma once

#include <bit>
#include <cstdint>
#include <span>

#include "coredb/column_kind.h"

namespace qd::coredb {

// Every object begins with these columns; a class's own follow.
inline constexpr unsigned int own_reference_column = 0;
inline constexpr unsigned int set_specifier_column = 1;
inline constexpr unsigned int class_reference_column = 2;
inline constexpr unsigned int system_column_count = 3;

// True for the kinds whose value is a run of bytes; every other value is one 64-bit word.
constexpr bool has_bytes(column_kind kind) {
  return kind == column_kind::string || kind == column_kind::binary ||
         kind == column_kind::set_specifier;
}

// One field of an object: NULL, or a value of the column's kind. The bytes are the caller's.
struct field {
  column_kind kind = column_kind::unsigned_integer;
  bool null = true;
  // Numbers by their bits (a float's in the low half), a bool as 0 or 1, a reference as its oid.
  std::uint64_t word = 0;
  std::span<unsigned char const> bytes = {};

  static field of_null(column_kind kind) { return {kind, true, 0, {}}; }
  static field of_unsigned(std::uint64_t value) {
    return {column_kind::unsigned_integer, false, value, {}};
  }
  static field of_signed(std::int64_t value) {
    return {column_kind::signed_integer, false, static_cast<std::uint64_t>(value), {}};
  }
  static field of_decimal(std::int64_t millionths) {
    return {column_kind::decimal, false, static_cast<std::uint64_t>(millionths), {}};
  }
  static field of_float(float value) {
    return {column_kind::single_float, false, std::bit_cast<std::uint32_t>(value), {}};
  }
  static field of_double(double value) {
    return {column_kind::double_float, false, std::bit_cast<std::uint64_t>(value), {}};
  }
  static field of_string(std::span<unsigned char const> densetext) {
    return {column_kind::string, false, 0, densetext};
  }
  static field of_binary(std::span<unsigned char const> bytes) {
    return {column_kind::binary, false, 0, bytes};
  }
  static field of_reference(std::uint64_t oid) { return {column_kind::reference, false, oid, {}}; }
  static field of_bool(bool value) { return {column_kind::boolean, false, value ? 1u : 0u, {}}; }
};

// A new value for one column of an object; system columns never change.
struct field_change {
  unsigned int column = 0;
  field value;
};

}  // namespace qd::coredb
