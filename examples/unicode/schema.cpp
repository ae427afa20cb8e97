#include "schema.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace unicode_demo {

using qd::embedded::class_definition;
using qd::embedded::column_definition;
using qd::embedded::column_type;
using qd::embedded::index_definition;

namespace {

constexpr category all_categories[] = {
    {"Lu", u"unicode.uppercase_letter", u"unicode.letter"},
    {"Ll", u"unicode.lowercase_letter", u"unicode.letter"},
    {"Lt", u"unicode.titlecase_letter", u"unicode.letter"},
    {"Lm", u"unicode.modifier_letter", u"unicode.letter"},
    {"Lo", u"unicode.other_letter", u"unicode.letter"},
    {"Mn", u"unicode.nonspacing_mark", u"unicode.mark"},
    {"Mc", u"unicode.spacing_mark", u"unicode.mark"},
    {"Me", u"unicode.enclosing_mark", u"unicode.mark"},
    {"Nd", u"unicode.decimal_number", number_class},
    {"Nl", u"unicode.letter_number", number_class},
    {"No", u"unicode.other_number", number_class},
    {"Pc", u"unicode.connector_punctuation", u"unicode.punctuation"},
    {"Pd", u"unicode.dash_punctuation", u"unicode.punctuation"},
    {"Ps", u"unicode.open_punctuation", u"unicode.punctuation"},
    {"Pe", u"unicode.close_punctuation", u"unicode.punctuation"},
    {"Pi", u"unicode.initial_punctuation", u"unicode.punctuation"},
    {"Pf", u"unicode.final_punctuation", u"unicode.punctuation"},
    {"Po", u"unicode.other_punctuation", u"unicode.punctuation"},
    {"Sm", u"unicode.math_symbol", u"unicode.symbol"},
    {"Sc", u"unicode.currency_symbol", u"unicode.symbol"},
    {"Sk", u"unicode.modifier_symbol", u"unicode.symbol"},
    {"So", u"unicode.other_symbol", u"unicode.symbol"},
    {"Zs", u"unicode.space_separator", u"unicode.separator"},
    {"Zl", u"unicode.line_separator", u"unicode.separator"},
    {"Zp", u"unicode.paragraph_separator", u"unicode.separator"},
    {"Cc", u"unicode.control", u"unicode.other"},
    {"Cf", u"unicode.format", u"unicode.other"},
    {"Cs", u"unicode.surrogate", u"unicode.other"},
    {"Co", u"unicode.private_use", u"unicode.other"},
};

column_definition required(std::u16string name, column_type type) {
  return {std::move(name), type, false};
}
column_definition optional(std::u16string name, column_type type) {
  return {std::move(name), type, true};
}
column_definition reference(std::u16string name, std::u16string_view referenced) {
  return {std::move(name), column_type::reference, true, std::u16string(referenced)};
}

class_definition code_point_definition() {
  return {.name = std::u16string(code_point_class),
          .columns = {
              required(u"code", column_type::unsigned_integer),
              // NULL where there is no text: U+0000 and the surrogates.
              optional(u"character", column_type::string),
              required(u"name", column_type::string),
              required(u"category", column_type::string),
              required(u"combining_class", column_type::unsigned_integer),
              required(u"bidi_class", column_type::string),
              optional(u"decomposition", column_type::string),
              // NULL where six decimal places do not hold the number; the text is always there.
              optional(u"numeric_value", column_type::decimal),
              optional(u"numeric_text", column_type::string),
              required(u"mirrored", column_type::boolean),
              optional(u"old_name", column_type::string),
              optional(u"comment", column_type::string),
              reference(u"block", block_class),
              reference(u"script", script_class),
              reference(u"uppercase", code_point_class),
              reference(u"lowercase", code_point_class),
              reference(u"titlecase", code_point_class),
          }};
}

// Each class behind those that it derives from.
std::vector<class_definition> class_definitions() {
  std::vector<class_definition> classes = {
      {.name = std::u16string(source_class),
       .columns = {required(u"file", column_type::string),
                   required(u"objects", column_type::unsigned_integer)}},
      {.name = std::u16string(block_class),
       .columns = {required(u"name", column_type::string),
                   required(u"first", column_type::unsigned_integer),
                   required(u"last", column_type::unsigned_integer)}},
      {.name = std::u16string(script_class), .columns = {required(u"name", column_type::string)}},
      code_point_definition()};
  for (category const& each : categories()) {
    if (classes.back().base != each.group) {
      classes.push_back(
          {.name = std::u16string(each.group), .base = std::u16string(code_point_class)});
      if (each.group == number_class) {
        classes.back().columns = {optional(u"decimal_digit", column_type::unsigned_integer),
                                  optional(u"digit", column_type::unsigned_integer)};
      }
    }
    classes.push_back(
        {.name = std::u16string(each.class_name), .base = std::u16string(each.group)});
  }
  return classes;
}

std::vector<index_definition> index_definitions() {
  std::u16string const block(block_class);
  std::u16string const script(script_class);
  std::u16string const code_point(code_point_class);
  return {
      {.name = block + u".by_first", .class_name = block, .columns = {{u"first"}}, .unique = true},
      {.name = script + u".by_name", .class_name = script, .columns = {{u"name"}}, .unique = true},
      {.name = code_point + u".by_code",
       .class_name = code_point,
       .columns = {{u"code"}},
       .unique = true},
      {.name = code_point + u".by_name", .class_name = code_point, .columns = {{u"name"}}},
      {.name = code_point + u".by_category",
       .class_name = code_point,
       .columns = {{u"category"}, {u"code", false}}},
      {.name = code_point + u".by_numeric_value",
       .class_name = code_point,
       .columns = {{u"numeric_value"}, {u"code"}}},
  };
}

}  // namespace

std::span<category const> categories() {
  return all_categories;
}

std::optional<std::size_t> find_category(std::string_view code) {
  auto const found = std::find_if(std::begin(all_categories), std::end(all_categories),
                                  [&](category const& each) { return each.code == code; });
  if (found == std::end(all_categories)) return std::nullopt;
  return static_cast<std::size_t>(found - std::begin(all_categories));
}

void define_schema(qd::embedded::transaction& write) {
  write.define_classes(class_definitions());
  for (index_definition const& index : index_definitions()) write.define_index(index);
}

void drop_schema(qd::embedded::transaction& write) {
  std::vector<class_definition> const classes = class_definitions();
  // Derived classes go before their bases, and what refers before what is referred to.
  for (auto each = classes.rbegin(); each != classes.rend(); ++each) write.drop_class(each->name);
}

}  // namespace unicode_demo
