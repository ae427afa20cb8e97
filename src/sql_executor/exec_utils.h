// Conversion of values between kinds, and what the nodes share about lists.
#pragma once

#include <iterator>
#include <string>
#include <utility>

#include "db_string/dt_string.h"
#include "sql_executor/operators/operator_base.h"
#include "sql_executor/value.h"

namespace qd::sql_executor {

// A new container of the results of `function` for each element, in order.
template <typename Result, typename Container, typename Function>
Result transform_list(Container const& source, Function&& function) {
  Result result;
  result.reserve(std::size(source));
  for (auto const& element : source) result.push_back(function(element));
  return result;
}

// The row of the operators' values, evaluated in list order. A row that is no longer needed can be
// handed in: its memory is used again.
inline std::vector<value> eval_operators(evaluation_context& context,
                                         std::vector<operators::operator_ptr> const& expressions,
                                         std::vector<value> used_row = {}) {
  used_row.clear();
  used_row.reserve(expressions.size());
  for (operators::operator_ptr const& expression : expressions) {
    used_row.push_back(expression->eval(context));
  }
  return used_row;
}

namespace utils {

// Converts a value to kind T; T is any of the eleven. NULL converts to NULL, and everything
// converts to NULL for T = NullValue. Raises db_exception:
//
//   source \ T         bool  unsigned  signed  Decimal  float  double
//   bool                .     .         .       .        .      .
//   unsigned            .     .         7041    7041     .      .
//   signed              .     7041      .       7041     .      .
//   Decimal             .     7041      .       .        .      .
//   double              .     7041      7041    1027     1027   .
//   float               .     7041      7041    1027     .      .
//   string              1027 for all
//   Binary, reference,
//     set specifier     7020 for all
//
// 7041 stands where numbers outside the range of T are refused: every negative number as unsigned, NaN
// and infinities as integers.
// Numbers lose their fraction towards zero; bool is "not zero", so NaN is true. To string, Binary
// and reference only the same kind converts, to a set specifier also a string, which names a class
// (GetDbType); all else raises 7020.
template <typename T>
struct converter {
  value operator()(value source) const {
    if (holds_alternative<T>(source)) return source;
    return convert(source);
  }

 private:
  static value convert(value const& source);  // `source` is of another kind than T.
};

extern template struct converter<bool>;
extern template struct converter<db_string::dt_string>;
extern template struct converter<unsigned long>;
extern template struct converter<long>;
extern template struct converter<operator_library::Decimal>;
extern template struct converter<double>;
extern template struct converter<float>;
extern template struct converter<operator_library::Binary>;
extern template struct converter<QD_OBJ_REF>;
extern template struct converter<operator_library::SetSpecifier>;
extern template struct converter<operator_library::NullValue>;

// Brings the operands of an arithmetic operation to one kind: the higher of the two in the order
// bool, unsigned, signed, Decimal, float, double. Two unsigned operands both become signed; other
// equal kinds stay as they are, whatever they are. If either is NULL, both become NULL. Raises 7041
// where a converter does, and 7020 for unlike kinds of which one is not numeric.
struct unify_numeric_types {
  std::pair<value, value> operator()(value a, value b) const;
};

// The set specifier of the class with this dotted name, from the catalogue of the calling thread's
// metadata context. Throws metalayer::exceptions::BadArg for an unknown name, db_exception with a
// kernel status, std::logic_error when the catalogue holds no set specifier for the class.
std::u16string GetDbType(db_string::dt_string const& name);

}  // namespace utils
}  // namespace qd::sql_executor
