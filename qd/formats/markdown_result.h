// Results as tables in Markdown.
#pragma once

#include "qd/formats/result_format.h"

namespace qd::program {

// Pipes and what Markdown takes for markup are escaped; a line end in a value becomes <br>.
class markdown_result final : public result_format {
 public:
  using result_format::result_format;

  void begin(result_head const& head) override;
  void row(std::span<sql::value const> values) override;
  void end(result_end const& outcome) override;
  void fail(failure const& why) override;
};

}  // namespace qd::program
