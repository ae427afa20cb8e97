#include "sql/run/reference_resolver.h"

#include "db_string/string_encoder.h"
#include "sql/run/class_tree.h"
#include "sql/run/column_values.h"

namespace qd::sql {

embedded::object_id object_of(column_info const& column, lookup const& found) {
  if (found.refusal.empty()) return found.object;
  throw error(error_code::constraint, "column " + column.name + ": " + found.refusal);
}

reference_resolver::reference_resolver(run_context const& run, table_info const& written)
    : run_(run), written_(written) {}

reference_resolver::target& reference_resolver::target_of(column_info const& column) {
  auto const known = targets_.find(&column);
  if (known != targets_.end()) return known->second;
  if (column.lookup_column.empty()) {
    throw error(error_code::wrong_type,
                "column " + column.name + " of " + written_.name +
                    " takes references alone: it was defined without REFERENCES table(column), "
                    "through which values are looked up");
  }
  target created{share_objects(run_.kernel(), column.referenced_class, written_.class_name),
                 key_of(run_, column),
                 nullptr,
                 std::nullopt,
                 {}};
  return targets_.emplace(&column, std::move(created)).first->second;
}

std::optional<lookup> reference_resolver::resolve(column_info const& column, value const& key) {
  target& to = target_of(column);
  if (to.written_too) return std::nullopt;
  if (!to.finder) to.finder = std::make_unique<object_finder>(run_, to.key);
  return to.finder->find(key);
}

embedded::value reference_resolver::placeholder(column_info const& column) {
  if (column.nullable) return {};
  target& to = target_of(column);
  if (!to.placeholder) to.placeholder = run_.kernel().reserve_oids(column.referenced_class, 1);
  return *to.placeholder;
}

void reference_resolver::resolve_later(embedded::object_id object, column_info const& column,
                                       value key) {
  target_of(column).noted.push_back({object, std::move(key)});
}

column_info const& reference_resolver::key_column(column_info const& column) {
  return *target_of(column).key.column;
}

void reference_resolver::look_up(target& to,
                                 std::function<void(waiting const&, std::string)> const& refused) {
  if (to.noted.empty()) return;
  // Made anew, so that it sees what was written.
  object_finder finder(run_, to.key);
  for (waiting& each : to.noted) {
    run_.connection.stop.check();
    lookup result = finder.find(each.key);
    each.found = result.object;
    if (!result.refusal.empty()) refused(each, std::move(result.refusal));
  }
}

void reference_resolver::finish() {
  for (auto& [column, to] : targets_) {
    look_up(to, [column = column](waiting const&, std::string const& reason) {
      throw error(error_code::constraint, "column " + column->name + ": " + reason);
    });
  }
  write_references();
}

void reference_resolver::finish_without_refused(std::unordered_set<std::uint64_t>& gone,
                                                refusal const& refused) {
  forget(gone);
  // Rows that refer to an object, to be refused with it.
  struct referrer {
    column_info const* column;
    waiting const* row;
  };
  std::unordered_map<std::uint64_t, std::vector<referrer>> referrers;
  std::vector<std::uint64_t> to_visit;
  auto const refuse = [&](waiting const& row, column_info const& column, std::string reason) {
    if (!gone.insert(row.object.oid).second) return;
    refused(row.object, column, row.key, std::move(reason));
    run_.kernel().erase(row.object);
    to_visit.push_back(row.object.oid);
  };
  for (auto& [column, to] : targets_) {
    look_up(to, [&, column = column](waiting const& row, std::string reason) {
      refuse(row, *column, std::move(reason));
    });
    for (waiting const& row : to.noted) referrers[row.found.oid].push_back({column, &row});
  }
  while (!to_visit.empty()) {
    auto const found = referrers.find(to_visit.back());
    to_visit.pop_back();
    if (found == referrers.end()) continue;
    for (referrer const& each : found->second) {
      refuse(*each.row, *each.column, "the row that it refers to is refused");
    }
  }
  forget(gone);
  write_references();
}

void reference_resolver::forget(std::unordered_set<std::uint64_t> const& gone) {
  for (auto& [column, to] : targets_) {
    std::erase_if(to.noted, [&](waiting const& row) { return gone.count(row.object.oid) != 0; });
  }
}

void reference_resolver::write_references() {
  for (auto& [column, to] : targets_) {
    std::u16string const name = encoder::utf8_to_utf16(column->name);
    for (waiting const& each : to.noted) {
      run_.connection.stop.check();
      run_.kernel().update(each.object, {{name, each.found}});
    }
    to.noted.clear();
  }
}

}  // namespace qd::sql
