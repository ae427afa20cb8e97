// Which line an inserted object came from.
#pragma once

#include <cstdint>
#include <vector>

#include "dbmetalayer/value.h"

namespace qd::sql {

// Objects are noted in the order of their ids and lines. Ids and lines mostly grow by one together,
// so that a run of them takes the place of one.
class line_numbers {
 public:
  void note(embedded::object_id object, std::uint64_t line) {
    if (!runs_.empty()) {
      run& last = runs_.back();
      if (object.oid == last.first_oid + last.count && line == last.first_line + last.count) {
        ++last.count;
        return;
      }
    }
    runs_.push_back({object.oid, line, 1});
  }

  // The line of an object that was noted.
  std::uint64_t line_of(embedded::object_id object) const;

  template <typename Visit>
  void for_each_object(Visit const& visit) const {
    for (run const& each : runs_) {
      for (std::uint64_t i = 0; i < each.count; ++i) visit(embedded::object_id{each.first_oid + i});
    }
  }

 private:
  struct run {
    std::uint64_t first_oid;
    std::uint64_t first_line;
    std::uint64_t count;
  };
  std::vector<run> runs_;
};

}  // namespace qd::sql
