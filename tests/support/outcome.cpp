#include "support/outcome.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <limits>
#include <sstream>

namespace outcome {

namespace {

using qd::sql_executor::value;

struct printer {
  std::ostream& to;

  template <typename Units>
  void write_units(char const* kind, Units const& units) {
    to << kind << std::hex << std::uppercase << std::setfill('0');
    for (auto const unit : units) to << ' ' << std::setw(2) << static_cast<unsigned long>(unit);
  }

  void operator()(bool content) { to << (content ? "true" : "false"); }
  void operator()(db_string::dt_string const& content) {
    write_units("string", std::vector(content.data(), content.data() + content.size()));
  }
  void operator()(unsigned long content) { to << "unsigned " << content; }
  void operator()(long content) { to << "signed " << content; }
  void operator()(operator_library::Decimal content) { to << "decimal " << content.scaled; }
  template <typename Float>
  requires std::is_floating_point_v<Float>
  void operator()(Float content) {
    to << (sizeof content == sizeof(double) ? "double " : "float ")
       << std::setprecision(std::numeric_limits<Float>::max_digits10) << content;
  }
  void operator()(operator_library::Binary const& content) { write_units("binary", content.bytes); }
  void operator()(QD_OBJ_REF const& content) {
    to << "reference " << content.oid << '@' << content.address;
  }
  void operator()(operator_library::SetSpecifier const& content) {
    write_units("set", content.specifier);
  }
  void operator()(operator_library::NullValue) { to << "null"; }
};

}  // namespace

std::string of(value const& result) {
  std::ostringstream text;
  visit(printer{text}, result);
  return text.str();
}

std::string of_operator(qd::sql_executor::operators::operator_base const& expression,
                        qd::sql_executor::evaluation_context const& context) {
  auto const as_value = [](std::optional<bool> truth) -> value {
    if (!truth) return operator_library::NullValue{};
    return *truth;
  };
  std::string const tested = of_call([&] { return as_value(expression.test(context)); });
  std::string const expected = of_call(
      [&] { return as_value(qd::sql_executor::operators::GetOpt(expression.eval(context))); });
  EXPECT_EQ(tested, expected) << "as a predicate";
  return of_call([&] { return expression.eval(context); });
}

}  // namespace outcome
