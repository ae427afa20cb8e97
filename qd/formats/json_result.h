// Results as JSON for people and their tools.
#pragma once

#include "qd/formats/result_format.h"

namespace qd::program {

// An array of objects per statement with rows, a row a line. Members are called like the columns; of
// columns with one name all but the first get a number. The array of a statement that fails on the
// way stays open, so that nobody takes it for whole.
class json_result final : public result_format {
 public:
  using result_format::result_format;

  void begin(result_head const& head) override;
  void row(std::span<sql::value const> values) override;
  void end(result_end const& outcome) override;
  void fail(failure const& why) override;

 private:
  std::vector<std::string> members_;  // Each as `"name":`.
  bool first_row_ = true;
};

}  // namespace qd::program
