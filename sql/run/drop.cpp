// DROP TABLE and DROP INDEX.
#include <algorithm>
#include <functional>

#include "sql/run/class_tree.h"
#include "sql/run/error_translation.h"
#include "sql/run/operation.h"
#include "sql/run/texts.h"

namespace qd::sql {
namespace {

using name_list = std::vector<std::u16string>;

bool contains(name_list const& names, std::u16string const& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// A table that cannot stay when another goes, and why.
struct dependent {
  std::u16string name;
  std::string reason;
};

// The first table, not among `leaving`, that derives from the class or has a column that refers to
// it; empty when there is none.
std::optional<dependent> find_dependent(embedded::read_context const& context,
                                        std::u16string const& class_name,
                                        name_list const& leaving) {
  for (std::u16string const& derived : context.describe_class(class_name)->derived) {
    if (!contains(leaving, derived)) return dependent{derived, " derives from it"};
  }
  for (std::u16string const& other : context.class_names()) {
    if (contains(leaving, other)) continue;
    for (embedded::column_description const& column : context.describe_class(other)->columns) {
      if (column.origin == embedded::column_origin::own &&
          column.type == embedded::column_type::reference &&
          column.referenced_class == class_name) {
        return dependent{other, " refers to it in column " + to_utf8(column.name)};
      }
    }
  }
  return std::nullopt;
}

class table_drop {
 public:
  table_drop(run_context& run, syntax::drop const& syntax)
      : run_(run), position_(syntax.names.front().position) {
    for (syntax::object_name const& name : syntax.names) add(name, syntax.if_exists);
    // The list grows while it is walked: what depends on a dependent goes as well.
    for (std::size_t i = 0; i < leaving_.size(); ++i) {
      while (auto const found = find_dependent(run.kernel(), leaving_[i], leaving_)) {
        if (!syntax.cascade) refuse(leaving_[i], *found);
        leaving_.push_back(found->name);
      }
    }
  }

  // Dependents first; each round finds at least one table that nothing left depends on, unless
  // tables refer to one another, which the kernel refuses.
  void drop() {
    run_.connection.before_schema_change(*run_.transaction);
    while (!leaving_.empty()) {
      auto const next = std::find_if(leaving_.begin(), leaving_.end(), [&](auto const& name) {
        return !find_dependent(run_.kernel(), name, {name});
      });
      auto const dropped = next == leaving_.end() ? leaving_.begin() : next;
      run_.kernel().drop_class(*dropped);
      run_.irrevocable = true;
      leaving_.erase(dropped);
      ++run_.outcome.rows;
    }
    run_.irrevocable = false;
  }

 private:
  void add(syntax::object_name const& name, bool if_exists) {
    reader from(run_.transaction);
    table_info const* const table =
        run_.connection.tables_of(from.schema())->find(run_.kernel(), name);
    if (table && !contains(leaving_, table->class_name)) leaving_.push_back(table->class_name);
    if (table || if_exists) return;
    throw error(error_code::unknown_name, "there is no table " + to_utf8(class_name_of(name)),
                name.position);
  }

  [[noreturn]] void refuse(std::u16string const& name, dependent const& found) const {
    throw error(error_code::bad_definition,
                "table " + to_utf8(name) + " cannot be dropped: " + to_utf8(found.name) +
                    found.reason + "; CASCADE drops both",
                position_);
  }

  run_context& run_;
  text_position position_;  // Of the first name.
  name_list leaving_;
};

void drop_indexes(run_context& run, syntax::drop const& syntax) {
  name_list leaving;
  for (syntax::object_name const& name : syntax.names) {
    std::u16string const index = class_name_of(name);
    if (run.kernel().has_index(index)) {
      if (!contains(leaving, index)) leaving.push_back(index);
    } else if (!syntax.if_exists) {
      throw error(error_code::unknown_name, "there is no index " + to_utf8(index), name.position);
    }
  }
  run.connection.before_schema_change(*run.transaction);
  for (std::u16string const& index : leaving) {
    translated_at(syntax.names.front().position, [&] { run.kernel().drop_index(index); });
    run.irrevocable = true;
    ++run.outcome.rows;
  }
  run.irrevocable = false;
}

}  // namespace

std::unique_ptr<operation> make_drop(syntax::drop const& dropped) {
  return std::make_unique<action>(operation::access::write, [&dropped](run_context& run) {
    if (dropped.kind == syntax::drop::what::table) {
      table_drop(run, dropped).drop();
    } else {
      drop_indexes(run, dropped);
    }
  });
}

}  // namespace qd::sql
