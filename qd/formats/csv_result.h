// Results as CSV.
#pragma once

#include <optional>

#include "qd/formats/result_format.h"
#include "sql/copy/csv_writer.h"

namespace qd::program {

// A line of names, then a line per row, as COPY writes them: NULL is an empty field, an empty text
// is "". Statements without rows write nothing. The lines of a text, a plan or a schema, are written
// as they stand: what another program does with them, it does with the text.
class csv_result final : public result_format {
 public:
  explicit csv_result(std::ostream& out);

  void begin(result_head const& head) override;
  void row(std::span<sql::value const> values) override;
  void end(result_end const& outcome) override;
  void fail(failure const& why) override;

 private:
  sql::csv_writer writer_;
  bool lines_ = false;  // Of the present result.
};

}  // namespace qd::program
