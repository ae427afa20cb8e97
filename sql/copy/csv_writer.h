// Writing CSV that csv_reader reads back as the same fields.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "sql/copy/csv_format.h"

namespace qd::sql {

// Fields are quoted where reading would take them for something else: those with a delimiter, a
// quote or a line end, and those equal to the text that stands for NULL. Lines end with LF.
class csv_writer {
 public:
  // `sink` takes stretches of the output in order.
  csv_writer(std::function<void(std::string_view)> sink, csv_format const& format);

  void field(std::string_view text);
  void null();
  void end_record();
  // Hands what is buffered to the sink. The destructor does not: it could not report a failure.
  void flush();

 private:
  void begin_field();
  bool needs_quotes(std::string_view text) const;

  std::function<void(std::string_view)> sink_;
  csv_format format_;
  special_bytes is_special_;
  std::string pending_;
  bool in_record_ = false;
};

}  // namespace qd::sql
