#include "qd/formats/json_result.h"

#include <ostream>
#include <set>

#include "qd/formats/json_text.h"

namespace qd::program {

void json_result::begin(result_head const& head) {
  members_.clear();
  std::set<std::string> used;
  for (sql::result_column const& column : head.columns) {
    std::string name = column.name;
    for (int number = 2; !used.insert(name).second; ++number) {
      name = column.name + '_' + std::to_string(number);
    }
    append_json_string(members_.emplace_back(), name);
    members_.back() += ':';
  }
  first_row_ = true;
  if (!members_.empty()) out() << '[';
}

void json_result::row(std::span<sql::value const> values) {
  std::string line = first_row_ ? "{" : ",\n {";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) line += ',';
    line += members_[i];
    append_json_value(line, values[i], exact_numbers::as_numbers);
  }
  out() << line << '}';
  first_row_ = false;
}

void json_result::end(result_end const&) {
  if (!members_.empty()) out() << "]\n";
  out() << std::flush;
}

void json_result::fail(failure const&) {
  if (!first_row_) out() << '\n';
  out() << std::flush;
}

}  // namespace qd::program
