// Results as tables in Markdown.
#pragma once

#include "qd/formats/result_format.h"

namespace qd::program {

// Pipes and what Markdown takes for markup are escaped; a line end in a value becomes <br>. The lines
// of a text, a plan or a schema, are a block of code.
class markdown_result final : public result_format {
 public:
  using result_format::result_format;

  void begin(result_head const& head) override;
  void row(std::span<sql::value const> values) override;
  void end(result_end const& outcome) override;
  void fail(failure const& why) override;

 private:
  void finish();

  bool lines_ = false;  // Of the present result, which has begun.
};

}  // namespace qd::program
