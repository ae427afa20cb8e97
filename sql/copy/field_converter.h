// Fields of CSV become values for the columns of a table.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "dbmetalayer/value.h"
#include "sql/copy/csv_format.h"

namespace qd::sql {

// Converts the fields of one column; every column has its own. Conversions are exact:
//
//   integers        digits with an optional sign, in the range of 64 bits
//   decimal         digits with an optional sign and point, at most six decimals but zeros
//   floating kinds  the nearest number; NaN, Infinity and -Infinity in any case
//   boolean         t, f, true, false, 1, 0 in any case
//   binary          \x and pairs of hexadecimal digits
//   text            as it stands: UTF-8 without U+0000
//
// Nothing is trimmed. References are for the caller to look up: a converter of a reference column
// knows NULL alone.
class field_converter {
 public:
  field_converter(embedded::column_type type, csv_format const& format);

  // Sets `result` and returns an empty text, or returns the reason for which the field is refused.
  // A text or binary in `result` belongs to the converter and stays until its next call; so does
  // the field's own text have to.
  std::string_view convert(csv_field const& field, embedded::value& result);

 private:
  std::string_view convert_text(std::string_view text, embedded::value& result);
  std::string_view convert_binary(std::string_view text, embedded::value& result);

  embedded::column_type type_;
  csv_format format_;
  std::u16string text_;
  std::vector<unsigned char> bytes_;
};

}  // namespace qd::sql
