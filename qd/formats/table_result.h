// Results as tables for people.
#pragma once

#include "qd/formats/result_format.h"
#include "qd/text_width.h"

namespace qd::program {

// Columns are as wide as the widest of the first rows needs; the rest streams, and what is wider
// then sticks out. Numbers stand on the right. Plans and the like are printed as they are,
// without a frame.
class table_result final : public result_format {
 public:
  table_result(std::ostream& out, bool timed) : result_format(out), timed_(timed) {}

  void begin(result_head const& head) override;
  void row(std::span<sql::value const> values) override;
  void end(result_end const& outcome) override;
  void fail(failure const& why) override;

 private:
  using line = std::vector<visible_text>;

  void write_waiting();
  void append(line const& cells);

  bool timed_;
  std::string command_;
  bool lines_ = false;
  std::vector<bool> on_the_right_;
  line head_;
  // The first rows, while the widths are not fixed yet.
  std::vector<line> waiting_;
  std::size_t waiting_bytes_ = 0;
  bool widths_fixed_ = false;
  std::vector<std::size_t> widths_;
  std::string text_;  // What is to be written next.
};

}  // namespace qd::program
