#include "sql/run/reference_resolver.h"

#include "db_string/string_encoder.h"
#include "sql/run/class_tree.h"
#include "sql/run/column_values.h"

namespace qd::sql {

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

std::optional<embedded::object_id> reference_resolver::resolve(column_info const& column,
                                                               value const& key) {
  target& to = target_of(column);
  if (to.written_too) return std::nullopt;
  if (!to.finder) to.finder = std::make_unique<object_finder>(run_, to.key);
  std::optional<QD_OBJ_REF> const found = to.finder->find(key);
  if (!found) to.finder->refuse_missing(key);
  return embedded::object_id{found->oid};
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

void reference_resolver::finish() {
  for (auto& [column, to] : targets_) {
    if (to.noted.empty()) continue;
    // Made anew, so that it sees what was written.
    object_finder finder(run_, to.key);
    std::u16string const name = encoder::utf8_to_utf16(column->name);
    for (waiting const& each : to.noted) {
      run_.connection.stop.check();
      std::optional<QD_OBJ_REF> const found = finder.find(each.key);
      if (!found) finder.refuse_missing(each.key);
      run_.kernel().update(each.object, {{name, embedded::object_id{found->oid}}});
    }
    to.noted.clear();
  }
}

}  // namespace qd::sql
