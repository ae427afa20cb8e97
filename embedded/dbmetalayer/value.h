// Values that objects of the embedded database are written with.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace qd::embedded {

// What a column holds. The numbers are the primitive type codes of the catalogue.
enum class column_type : std::uint8_t {
  string = 1,
  binary = 2,
  signed_integer = 3,
  unsigned_integer = 4,
  decimal = 5,
  single_float = 6,
  double_float = 7,
  reference = 8,
  boolean = 10,
};

// A number with six decimals, as millionths: 1.5 is decimal{1'500'000}. |scaled| is at most
// 4398046511103999999.
struct decimal {
  std::int64_t scaled = 0;
};

// An object's identity, and the value of a reference to it. Ids are never used again.
struct object_id {
  std::uint64_t oid = 0;
  friend bool operator==(object_id, object_id) = default;
};

// Bytes of a binary column.
using binary_view = std::span<unsigned char const>;

// One value, or NULL. Texts and binaries are views: their characters and bytes are the caller's and
// must live until the call that the value is passed to returns.
//
// Integers fit signed and unsigned columns alike while they are in range; every other kind fits
// columns of its own type only.
class value {
 public:
  using content_type = std::variant<std::monostate, bool, std::uint64_t, std::int64_t, decimal,
                                    float, double, std::u16string_view, binary_view, object_id>;

  // NULL.
  value() = default;
  template <std::integral Integer>
  requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char> &&
           !std::same_as<Integer, char16_t>) value(Integer number) {
    if constexpr (std::signed_integral<Integer>) {
      content_ = std::int64_t{number};
    } else {
      content_ = std::uint64_t{number};
    }
  }
  template <std::same_as<bool> Boolean>
  value(Boolean truth) : content_(truth) {}
  value(decimal number) : content_(number) {}
  value(float number) : content_(number) {}
  value(double number) : content_(number) {}
  value(std::u16string_view text) : content_(text) {}
  value(std::u16string const& text) : content_(std::u16string_view(text)) {}
  value(char16_t const* text) : content_(std::u16string_view(text)) {}
  value(binary_view bytes) : content_(bytes) {}
  value(object_id object) : content_(object) {}

  content_type const& content() const { return content_; }
  bool is_null() const { return content_.index() == 0; }

 private:
  content_type content_;
};

// NULL by name.
inline value const null{};

// A column of an object by name, and its value.
struct column_value {
  std::u16string_view column;
  embedded::value value;
};

}  // namespace qd::embedded
