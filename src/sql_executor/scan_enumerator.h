// One walk of a scan over its range.
#pragma once

#include <vector>

#include "db_util/key_writer.h"
#include "sql_executor/row_source.h"
#include "sql_executor/scan.h"

namespace qd::sql_executor {

// The ends of a scan's range, in the kernel's key format: `first` stands at the start of the index
// order, `last` at its end.
struct KernelKeys {
  std::vector<unsigned char> first;
  bool first_inclusive;
  std::vector<unsigned char> last;
  bool last_inclusive;
};

class scan_enumerator final : public row_source {
 public:
  // Evaluates the bounds and opens the iterator. Nothing is left open when it throws.
  scan_enumerator(scan const& node, evaluation_context const& context);
  ~scan_enumerator() override;

  bool append_next(evaluation_context& context) override;

  // The range that the node's bounds give now; whole keys, end mark and padding included.
  static KernelKeys build_kernel_keys(scan const& node, evaluation_context const& context);

 private:
  // Which ends of the range are in it.
  struct inclusion {
    bool first;
    bool last;
  };

  // Writes both keys of the range, wherever the writers put them.
  template <typename Buffer>
  static inclusion write_keys(scan const& node, evaluation_context const& context,
                              db_util::KeyWriter<Buffer>& first, db_util::KeyWriter<Buffer>& last);

  unsigned long iterator;  // The kernel's iterator; owned, open as long as the enumerator.
};

}  // namespace qd::sql_executor
