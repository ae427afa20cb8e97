#include "dbmetalayer/class_info.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/names.h"

namespace qd::embedded {
namespace {

template <class Floating>
std::string shortest(Floating number) {
  std::array<char, 32> digits;
  auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

struct value_printer {
  static constexpr std::size_t longest = 60;  // Units of a text, bytes of a binary.

  std::string operator()(std::monostate) const { return "NULL"; }
  std::string operator()(bool truth) const { return truth ? "true" : "false"; }
  std::string operator()(std::uint64_t number) const { return std::to_string(number); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(float number) const { return shortest(number); }
  std::string operator()(double number) const { return shortest(number); }
  std::string operator()(object_id object) const { return "object " + std::to_string(object.oid); }

  std::string operator()(decimal number) const {
    constexpr std::uint64_t one = 1'000'000;
    auto const bits = static_cast<std::uint64_t>(number.scaled);
    std::uint64_t const size = number.scaled < 0 ? -bits : bits;
    std::string const decimals = std::to_string(size % one);
    return (number.scaled < 0 ? "-" : "") + std::to_string(size / one) + "." +
           std::string(6 - decimals.size(), '0') + decimals;
  }

  std::string operator()(std::u16string_view text) const {
    return "\"" + to_utf8(text.substr(0, longest)) + (text.size() > longest ? "..." : "") + "\"";
  }

  std::string operator()(binary_view bytes) const {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string shown = "0x";
    for (unsigned char const byte : bytes.first(std::min(bytes.size(), longest))) {
      shown += digits[byte >> 4];
      shown += digits[byte & 15];
    }
    return bytes.size() > longest ? shown + "..." : shown;
  }
};

}  // namespace

class_info read_class(unsigned long context, QD_OBJ_REF const& table) {
  class_info result;
  result.name = read_text(context, table, catalogue::table::full_name);
  result.record = table.oid;
  result.layout = static_cast<std::uint16_t>(read_number(context, table, catalogue::table::layout));
  result.of_catalogue = read_bool(context, table, catalogue::table::of_catalogue);
  for (QD_OBJ_REF const& record : columns_of_table(context, table)) {
    column_info column;
    column.name = read_text(context, record, catalogue::column::name);
    column.type =
        static_cast<column_type>(read_number(context, record, catalogue::column::primitive_code));
    column.nullable = read_bool(context, record, catalogue::column::nullable);
    if (column.type == column_type::reference) {
      QD_OBJ_REF const referenced = read_reference(context, record, catalogue::column::type);
      column.referenced_layout =
          static_cast<std::uint16_t>(read_number(context, referenced, catalogue::table::layout));
      column.referenced_class = read_text(context, referenced, catalogue::table::full_name);
      column.lookup_column = read_text(context, record, catalogue::column::lookup_column);
    }
    column.record = record;
    result.columns.push_back(std::move(column));
  }
  return result;
}

std::size_t position_of(class_info const& of_class, std::u16string_view column) {
  auto const found = std::find_if(of_class.columns.begin(), of_class.columns.end(),
                                  [&](column_info const& each) { return each.name == column; });
  if (found == of_class.columns.end()) {
    throw error(error_kind::unknown_name,
                "class " + to_utf8(of_class.name) + " has no column " + to_utf8(column));
  }
  return static_cast<std::size_t>(found - of_class.columns.begin());
}

void refuse(error_kind kind, class_info const& of_class, column_info const& column,
            value const& refused, std::string const& reason) {
  throw error(kind, "class " + to_utf8(of_class.name) + ", column " + to_utf8(column.name) +
                        ", value " + to_string(refused) + ": " + reason);
}

std::string to_string(value const& shown) {
  return std::visit(value_printer(), shown.content());
}

std::string_view to_string(column_type type) {
  switch (type) {
    case column_type::string:
      return "string";
    case column_type::binary:
      return "binary";
    case column_type::signed_integer:
      return "signed integer";
    case column_type::unsigned_integer:
      return "unsigned integer";
    case column_type::decimal:
      return "decimal";
    case column_type::single_float:
      return "float";
    case column_type::double_float:
      return "double";
    case column_type::reference:
      return "reference";
    case column_type::boolean:
      return "bool";
  }
  return "unknown type";
}

}  // namespace qd::embedded
