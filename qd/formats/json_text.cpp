#include "qd/formats/json_text.h"

#include <cmath>

namespace qd::program {

void append_json_string(std::string& out, std::string_view text) {
  constexpr char digits[] = "0123456789abcdef";
  out += '"';
  for (char const each : text) {
    auto const byte = static_cast<unsigned char>(each);
    if (each == '"' || each == '\\') {
      out += '\\';
      out += each;
    } else if (each == '\n') {
      out += "\\n";
    } else if (byte < 0x20 || byte == 0x7F) {
      out += "\\u00";
      out += digits[byte >> 4];
      out += digits[byte & 15];
    } else {
      out += each;
    }
  }
  out += '"';
}

namespace {

struct value_writer {
  std::string& out;
  sql::value const& content;
  exact_numbers exact;

  void operator()(bool) const { plain(); }
  void operator()(operator_library::NullValue) const { out += "null"; }
  void operator()(unsigned long) const { exact_number(); }
  void operator()(long) const { exact_number(); }
  void operator()(operator_library::Decimal const&) const { exact_number(); }
  void operator()(double number) const { floating(number); }
  void operator()(float number) const { floating(number); }
  void operator()(operator_library::Binary const&) const {
    // display_text begins with \x.
    append_json_string(out, std::string_view(sql::display_text(content)).substr(2));
  }
  template <typename Other>  // Texts, references, set specifiers.
  void operator()(Other const&) const {
    quoted();
  }

 private:
  void plain() const { out += sql::display_text(content); }
  void quoted() const { append_json_string(out, sql::display_text(content)); }
  void exact_number() const { exact == exact_numbers::as_numbers ? plain() : quoted(); }
  template <typename Number>
  void floating(Number number) const {
    std::isfinite(number) ? plain() : quoted();
  }
};

}  // namespace

void append_json_value(std::string& out, sql::value const& content, exact_numbers exact) {
  visit(value_writer{out, content, exact}, content);
}

}  // namespace qd::program
