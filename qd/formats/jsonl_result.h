// Results as one JSON object per statement and line, for programs.
#pragma once

#include "qd/formats/result_format.h"

namespace qd::program {

// The object of a statement that succeeds, in this order:
//
//     {"command":"SELECT","columns":[{"name":"a","kind":"bigint"}],"rows":[["1"],[null]],
//      "row_count":2,"refused_lines":[],"prepare_ms":0.1,"elapsed_ms":0.2}
//
// A value of another kind than its column, as a parameter in the outputs may have, is
//
//     {"kind":"bytea","value":"0aff"}
//
// `columns` and `rows` are empty for statements without rows; `row_count` then is how many rows were
// inserted, changed, deleted or copied. 64-bit integers and Decimals are strings. One that fails has
//
//     "error":{"code":9003,"text":"...","position":7,"line":1,"column":8}
//
// behind the rows that came before, in place of `row_count` and what follows; `command` and
// `columns` are missing when it could not be prepared. `position` (bytes, from 0, in the
// statement), `line` (of the input) and `column` (characters, from 1) are null when they are not
// known; a refused COPY has `refused_lines` in its error.
class jsonl_result final : public result_format {
 public:
  using result_format::result_format;

  void begin(result_head const& head) override;
  void row(std::span<sql::value const> values) override;
  void end(result_end const& outcome) override;
  void fail(failure const& why) override;
  bool tells_everything() const override { return true; }

 private:
  void append_value(sql::value const& content, sql::algebra::kind column);
  void write_pending();

  std::vector<sql::algebra::kind> kinds_;  // Of the columns.
  bool begun_ = false;
  bool first_row_ = true;
  std::string pending_;
};

}  // namespace qd::program
