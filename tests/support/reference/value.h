// Values and the rules of SQL over them, written for being obviously right: exact rationals for
// comparison, 128-bit integers for Decimals, texts as UTF-16. For checking the engine, of whose
// execution code nothing is used here.
#pragma once

#include <compare>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace reference {

__extension__ typedef __int128 wide_integer;

struct decimal {
  long scaled;  // Millionths.
};
struct binary {
  std::vector<unsigned char> bytes;
};
struct object {
  unsigned long oid;
};
struct set_specifier {
  std::u16string text;
};
struct null_value {};

// The kinds stand in the order of the engine's own.
using value = std::variant<bool, std::u16string, unsigned long, long, decimal, double, float,
                           binary, object, set_specifier, null_value>;
using row = std::vector<value>;

enum kind : std::size_t {
  of_bool,
  of_string,
  of_unsigned,
  of_signed,
  of_decimal,
  of_double,
  of_float,
  of_binary,
  of_object,
  of_set_specifier,
  of_null
};

inline kind kind_of(value const& source) {
  return static_cast<kind>(source.index());
}
inline bool is_null(value const& source) {
  return source.index() == of_null;
}
bool is_numeric(kind tested);

// What an evaluation throws. Texts: "error 7020" for an error number, "sql error 7042" for an error
// meant for the user of SQL, "exception: ..." for a standard exception.
struct failure {
  std::string text;
  // Another error may come first just as well: the order of what was evaluated is not defined.
  bool any = false;
};
[[noreturn]] void fail(unsigned int code);

// "less" and so on as SQL's comparison operators see two values of numeric kinds, or of one other
// kind. `unordered` is a NaN on the right, or two of one kind: only <> holds; `incomparable` is a
// NaN on the left of a value of another kind: nothing holds. Throws 7020 for unlike kinds.
enum class relation_of { less, equal, greater, unordered, incomparable };
relation_of compare(value const& left, value const& right);

// The order of sorting, MIN and MAX: negative, 0, positive. NULL first; one kind only.
int sort_order(value const& left, value const& right);

// Whether two values are one group: the same kind and content, NULLs alike, NaN like nothing.
bool same_group(value const& left, value const& right);
bool same_group(row const& left, row const& right);

// Whether two results are the same, NaNs alike, zeros of different signs not.
bool identical(value const& left, value const& right);
bool identical(row const& left, row const& right);

// A value as another kind. `set_specifier_of` finds a class's by its name.
using class_lookup = std::function<std::u16string(std::u16string const&)>;
value convert(value const& source, kind target, class_lookup const& set_specifier_of);

enum class arithmetic { plus, minus, times, divided_by };
value compute(arithmetic operation, value const& left, value const& right);
// The accumulation of sum: both of one kind.
value add_same_kind(value const& left, value const& right);
value negate(value const& operand);
// A total of millionths over a count, rounded to the nearest, halves away from zero.
value exact_average(wide_integer total, unsigned long count);

// SQL's LIKE.
bool like(std::u16string const& text, std::u16string const& pattern);
// The text before the first wildcard; empty when there is none, or nothing before it.
std::u16string like_prefix(std::u16string const& pattern);

// A finite number, where it lies among the values of an exact kind (bool, unsigned, signed,
// Decimal): the nearest at or below and at or above.
struct place {
  bool nan = false;
  bool below = false;  // Less than all of them.
  bool above = false;
  value floor = null_value();
  value ceil = null_value();
  bool exact = false;
};
place place_in(kind target, value const& number);

std::string text_of(value const& source);
std::string text_of(row const& source);

}  // namespace reference
