// The one scalar type of the engine: `value`, a discriminated union of eleven kinds.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "db_string/dt_string.h"
#include "db_util/value_kinds.h"
#include "kernel/obj_ref.h"

namespace qd::sql_executor {

// The kinds of columns, as plans and casts number them (not the order of `value`'s alternatives).
enum class value_type : unsigned int {
  unsigned_integer = 0,
  signed_integer = 1,
  decimal = 2,
  single_float = 3,
  double_float = 4,
  string = 5,
  binary = 6,
  object_reference = 7,
  set_specifier = 8,
  boolean = 9,
};

// Reading an alternative that a value does not hold: a fault of the program or of the plan.
class bad_value_access : public std::bad_variant_access {
 public:
  char const* what() const noexcept override { return "Unexpected index"; }
  [[noreturn]] static void raise();
};

class value;

namespace detail {

template <typename T, typename... Alternatives>
inline constexpr bool is_one_of = (std::is_same_v<T, Alternatives> || ...);

template <typename T>
inline constexpr bool is_alternative =
    is_one_of<T, bool, db_string::dt_string, unsigned long, long, operator_library::Decimal, double,
              float, operator_library::Binary, QD_OBJ_REF, operator_library::SetSpecifier,
              operator_library::NullValue>;

// Position of T among the alternatives of `value`.
template <typename T>
inline constexpr unsigned index_of = [] {
  static_assert(is_alternative<T>, "not an alternative of value");
  if (std::is_same_v<T, bool>) return 0;
  if (std::is_same_v<T, db_string::dt_string>) return 1;
  if (std::is_same_v<T, unsigned long>) return 2;
  if (std::is_same_v<T, long>) return 3;
  if (std::is_same_v<T, operator_library::Decimal>) return 4;
  if (std::is_same_v<T, double>) return 5;
  if (std::is_same_v<T, float>) return 6;
  if (std::is_same_v<T, operator_library::Binary>) return 7;
  if (std::is_same_v<T, QD_OBJ_REF>) return 8;
  if (std::is_same_v<T, operator_library::SetSpecifier>) return 9;
  return 10;
}();

}  // namespace detail

// A value of one of eleven kinds, in this order (`index()`): 0 bool, 1 string, 2 unsigned 64-bit,
// 3 signed 64-bit, 4 Decimal, 5 double, 6 float, 7 Binary, 8 object reference, 9 set specifier,
// 10 NULL. It has the face of a std::variant: index, get, get_if, holds_alternative, visit (found
// by argument lookup), equality, and a Boost hash equal to that of a std::variant of the same
// kinds.
//
// A default value, and a moved-from one, is the bool false; NULL is always a NullValue, so a row is
// padded with copies of a NULL value and never by resizing it.
//
// Equality: the same kind and equal contents. NULL equals NULL, NaN equals nothing, both zeros are
// equal, references go by their oid. SQL's `=` is a different thing: operators::equal.
//
// 24 bytes: 16 of payload and a tag word. Binary and SetSpecifier stand behind an owning pointer.
// Every constructor stores whole words: copying reads whole words, and a wide load that follows a
// narrower store stalls.
class value {
 public:
  value() noexcept { store_words(0, 0, 0); }

  template <typename T>
  requires detail::is_alternative<std::remove_cvref_t<T>> value(
      T&& content) {  // NOLINT(google-explicit-constructor): as a variant converts
    construct(std::forward<T>(content));
  }

  value(value const& other) { copy_from(other); }
  value(value&& other) noexcept { take_from(other); }
  value& operator=(value const& other) {
    if (this != &other) {
      value copy(other);
      destroy();
      take_from(copy);
    }
    return *this;
  }
  value& operator=(value&& other) noexcept {
    if (this != &other) {
      destroy();
      take_from(other);
    }
    return *this;
  }
  ~value() { destroy(); }

  // The position of the alternative held, 0 to 10.
  unsigned index() const noexcept { return static_cast<unsigned>(tag_); }

  bool is_null() const noexcept { return tag_ == null_tag; }

  template <typename T>
  friend bool holds_alternative(value const& source) noexcept {
    return source.tag_ == detail::index_of<T>;
  }

  // A pointer to the content, null when the value holds another alternative.
  template <typename T>
  friend T const* get_if(value const* source) noexcept {
    return source->tag_ == detail::index_of<T> ? &source->template content<T>() : nullptr;
  }
  template <typename T>
  friend T* get_if(value* source) noexcept {
    return const_cast<T*>(get_if<T>(static_cast<value const*>(source)));
  }

  // The content. Throws bad_value_access when the value holds another alternative.
  template <typename T>
  friend T const& get(value const& source) {
    if (source.tag_ != detail::index_of<T>) [[unlikely]]
      bad_value_access::raise();
    return source.template content<T>();
  }
  template <typename T>
  friend T& get(value& source) {
    return const_cast<T&>(get<T>(static_cast<value const&>(source)));
  }
  template <typename T>
  friend T&& get(value&& source) {
    return std::move(get<T>(source));
  }

  // The content, of which the caller knows that it is a T.
  template <typename T>
  T const& content() const noexcept {
    if constexpr (is_boxed<T>) {
      return **reinterpret_cast<T* const*>(words_);
    } else {
      return *std::launder(reinterpret_cast<T const*>(words_));
    }
  }

  friend bool operator==(value const& left, value const& right);

 private:
  static constexpr unsigned long null_tag = detail::index_of<operator_library::NullValue>;
  // Bit i is set when alternative i owns memory.
  static constexpr unsigned long owning_alternatives =
      1UL << detail::index_of<db_string::dt_string> |
      1UL << detail::index_of<operator_library::Binary> |
      1UL << detail::index_of<operator_library::SetSpecifier>;

  template <typename T>
  static constexpr bool is_boxed = std::is_same_v<T, operator_library::Binary> ||
                                   std::is_same_v<T, operator_library::SetSpecifier>;

  bool owns_memory() const noexcept { return (owning_alternatives >> tag_ & 1) != 0; }

  void store_words(unsigned long first, unsigned long second, unsigned long tag) noexcept {
    std::memcpy(words_, &first, sizeof first);
    std::memcpy(words_ + sizeof first, &second, sizeof second);
    tag_ = tag;
  }

  template <typename T>
  void construct(T&& content) {
    using kind = std::remove_cvref_t<T>;
    constexpr unsigned long tag = detail::index_of<kind>;
    if constexpr (std::is_same_v<kind, operator_library::NullValue>) {
      store_words(0, 0, tag);
    } else if constexpr (is_boxed<kind>) {
      store_words(std::bit_cast<unsigned long>(new kind(std::forward<T>(content))), 0, tag);
    } else if constexpr (std::is_same_v<kind, db_string::dt_string>) {
      new (words_) kind(std::forward<T>(content));
      tag_ = tag;
    } else if constexpr (std::is_same_v<kind, QD_OBJ_REF>) {
      store_words(content.oid, content.address, tag);
    } else if constexpr (std::is_same_v<kind, float>) {
      store_words(std::bit_cast<std::uint32_t>(content), 0, tag);
    } else if constexpr (std::is_same_v<kind, bool>) {
      store_words(content ? 1 : 0, 0, tag);
    } else {
      store_words(std::bit_cast<unsigned long>(content), 0, tag);
    }
  }

  void take_words(value const& other) noexcept {
    unsigned long first;
    unsigned long second;
    std::memcpy(&first, other.words_, sizeof first);
    std::memcpy(&second, other.words_ + sizeof first, sizeof second);
    store_words(first, second, other.tag_);
  }

  void take_from(value& other) noexcept {
    take_words(other);
    other.store_words(0, 0, 0);
  }

  void copy_from(value const& other) {
    if (other.owns_memory()) [[unlikely]] {
      copy_owning(other);
    } else {
      take_words(other);
    }
  }

  void destroy() noexcept {
    if (owns_memory()) [[unlikely]]
      destroy_owning();
  }

  void copy_owning(value const& other);
  void destroy_owning() noexcept;

  alignas(8) unsigned char words_[16];
  unsigned long tag_;  // The alternative's index.
};

static_assert(sizeof(value) == 24);

// Declared for argument lookup with explicit template arguments.
template <typename T>
bool holds_alternative(value const& source) noexcept;
template <typename T>
T const* get_if(value const* source) noexcept;
template <typename T>
T* get_if(value* source) noexcept;
template <typename T>
T const& get(value const& source);
template <typename T>
T& get(value& source);
template <typename T>
T&& get(value&& source);

// Calls `visitor` with the content of `source`, as a constant.
template <typename Visitor>
decltype(auto) visit(Visitor&& visitor, value const& source) {
  switch (source.index()) {
    case 0:
      return visitor(source.content<bool>());
    case 1:
      return visitor(source.content<db_string::dt_string>());
    case 2:
      return visitor(source.content<unsigned long>());
    case 3:
      return visitor(source.content<long>());
    case 4:
      return visitor(source.content<operator_library::Decimal>());
    case 5:
      return visitor(source.content<double>());
    case 6:
      return visitor(source.content<float>());
    case 7:
      return visitor(source.content<operator_library::Binary>());
    case 8:
      return visitor(source.content<QD_OBJ_REF>());
    case 9:
      return visitor(source.content<operator_library::SetSpecifier>());
    default:
      return visitor(source.content<operator_library::NullValue>());
  }
}

// Calls `visitor` with the contents of both, in this order.
template <typename Visitor>
decltype(auto) visit(Visitor&& visitor, value const& left, value const& right) {
  return visit(
      [&](auto const& left_content) -> decltype(auto) {
        return visit(
            [&](auto const& right_content) -> decltype(auto) {
              return visitor(left_content, right_content);
            },
            right);
      },
      left);
}

// Boost's hash of a variant: the index folded in first, then the content's hash.
std::size_t hash_value(value const& source);

// A row: one value per column of the node that produced it.
using row = std::vector<value>;

}  // namespace qd::sql_executor

// Hashes of the kinds, for Boost.
std::size_t hash_value(QD_OBJ_REF const& reference);
namespace operator_library {
std::size_t hash_value(Decimal const& decimal);
std::size_t hash_value(Binary const& binary);
std::size_t hash_value(SetSpecifier const& set_specifier);
std::size_t hash_value(NullValue);
}  // namespace operator_library
