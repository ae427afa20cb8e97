// CREATE TABLE and CREATE INDEX.
#include <algorithm>

#include "db_string/string_encoder.h"
#include "sql/run/error_translation.h"
#include "sql/run/operation.h"
#include "sql/run/texts.h"

namespace qd::sql {
namespace {

// Finds a table while a definition runs; the thread's metadata context is the transaction's.
table_info const* find_table(run_context& run, syntax::object_name const& name) {
  reader from(run.transaction);
  return run.connection.tables_of(from.schema())->find(run.kernel(), name);
}

table_info const& existing_table(run_context& run, syntax::object_name const& name,
                                 char const* what = "table") {
  table_info const* const table = find_table(run, name);
  if (!table) {
    throw error(error_code::unknown_name,
                std::string("there is no ") + what + ' ' + to_utf8(class_name_of(name)),
                name.position);
  }
  return *table;
}

embedded::column_type type_of(syntax::type_name::kind kind) {
  using syntax_kind = syntax::type_name::kind;
  switch (kind) {
    case syntax_kind::signed_integer:
      return embedded::column_type::signed_integer;
    case syntax_kind::unsigned_integer:
      return embedded::column_type::unsigned_integer;
    case syntax_kind::decimal:
      return embedded::column_type::decimal;
    case syntax_kind::double_float:
      return embedded::column_type::double_float;
    case syntax_kind::single_float:
      return embedded::column_type::single_float;
    case syntax_kind::text:
      return embedded::column_type::string;
    case syntax_kind::binary:
      return embedded::column_type::binary;
    case syntax_kind::boolean:
      return embedded::column_type::boolean;
    case syntax_kind::class_reference:
      return embedded::column_type::reference;
  }
  return embedded::column_type::string;
}

// What CREATE TABLE asks of the kernel.
class table_definition {
 public:
  table_definition(run_context& run, syntax::create_table const& syntax)
      : run_(run), syntax_(syntax) {
    class_.name = class_name_of(syntax.table);
    if (!syntax.base.parts.empty()) class_.base = existing_table(run, syntax.base).class_name;
    for (syntax::column_definition const& column : syntax.columns) add_column(column);
    for (syntax::unique_constraint const& constraint : syntax.constraints) {
      add_constraint(constraint);
    }
  }

  void define() {
    embedded::transaction& kernel = run_.kernel();
    run_.connection.before_schema_change(*run_.transaction);
    auto const defined = std::make_shared<bool>(false);
    // With the class its indexes go, too.
    run_.undo.emplace_back([defined, &kernel, name = class_.name, &run = run_] {
      run.connection.before_schema_change(*run.transaction);
      if (*defined) kernel.drop_class(name);
    });
    translated_at(syntax_.table.position, [&] {
      kernel.define_class(class_);
      *defined = true;
      for (embedded::index_definition const& index : indexes_) kernel.define_index(index);
    });
  }

 private:
  void add_column(syntax::column_definition const& column) {
    embedded::column_definition defined;
    defined.name = encoder::utf8_to_utf16(column.name);
    defined.type = type_of(column.type.type);
    defined.nullable = !column.not_null;
    if (defined.type == embedded::column_type::reference) {
      defined.referenced_class = referenced_class(column);
      if (looks_up_references(column, defined.referenced_class)) {
        throw error(error_code::bad_definition,
                    "column " + column.name + ": rows cannot be looked up through " +
                        column.lookup_column + ", which is a reference itself",
                    column.references.position);
      }
      defined.lookup_column = encoder::utf8_to_utf16(column.lookup_column);
    } else if (!column.references.parts.empty()) {
      throw error(error_code::bad_definition,
                  "column " + column.name +
                      ": REFERENCES needs a column whose type is the "
                      "referenced table",
                  column.position);
    }
    class_.columns.push_back(std::move(defined));
    if (column.unique) add_unique_index({column.name});
  }

  // A reference column's type is the table that it refers to, which may be the new one.
  std::u16string referenced_class(syntax::column_definition const& column) {
    syntax::object_name const type{column.type.class_name, column.type.position};
    std::u16string const name = class_of(type, "type or table");
    if (!column.references.parts.empty() && class_of(column.references) != name) {
      throw error(error_code::bad_definition,
                  "column " + column.name + ": it is of type " + to_utf8(name) +
                      " and cannot reference " + to_utf8(class_of(column.references)),
                  column.references.position);
    }
    return name;
  }

  // A row has no text or number for a reference, so none could be found by it.
  bool looks_up_references(syntax::column_definition const& column,
                           std::u16string const& referenced) {
    if (column.lookup_column.empty()) return false;
    auto const is_such = [&](auto const& each, bool is_reference) {
      return each.name == column.lookup_column && is_reference;
    };
    using type_kind = syntax::type_name::kind;
    bool const is_own = referenced == class_.name;
    if (is_own && std::any_of(syntax_.columns.begin(), syntax_.columns.end(), [&](auto const& own) {
          return is_such(own, own.type.type == type_kind::class_reference);
        })) {
      return true;
    }
    syntax::object_name const& holder = is_own ? syntax_.base : column.references;
    if (holder.parts.empty()) return false;
    table_info const& table = existing_table(run_, holder);
    return std::any_of(table.columns.begin(), table.columns.end(), [&](column_info const& each) {
      return is_such(each, each.kind == kind::reference);
    });
  }

  std::u16string class_of(syntax::object_name const& name, char const* what = "table") {
    std::u16string const written = class_name_of(name);
    return written == class_.name ? written : existing_table(run_, name, what).class_name;
  }

  void add_constraint(syntax::unique_constraint const& constraint) {
    if (constraint.primary_key) {
      for (std::string const& name : constraint.columns) require_values(name, constraint.position);
    }
    add_unique_index(constraint.columns);
  }

  void require_values(std::string const& name, text_position position) {
    std::u16string const wanted = encoder::utf8_to_utf16(name);
    for (embedded::column_definition& column : class_.columns) {
      if (column.name != wanted) continue;
      column.nullable = false;
      return;
    }
    throw error(error_code::unknown_name,
                "PRIMARY KEY: the table has no column " + name +
                    " of "
                    "its own",
                position);
  }

  void add_unique_index(std::vector<std::string> const& columns) {
    embedded::index_definition index;
    index.name = class_.name;
    index.class_name = class_.name;
    index.unique = true;
    for (std::string const& column : columns) {
      std::u16string const name = encoder::utf8_to_utf16(column);
      index.name += u'_' + name;
      index.columns.push_back({name});
    }
    index.name += u"_key";
    refuse_floating(columns);
    indexes_.push_back(std::move(index));
  }

  void refuse_floating(std::vector<std::string> const& columns) const {
    for (syntax::column_definition const& column : syntax_.columns) {
      if (std::find(columns.begin(), columns.end(), column.name) == columns.end()) continue;
      if (column.type.type != syntax::type_name::kind::double_float &&
          column.type.type != syntax::type_name::kind::single_float) {
        continue;
      }
      throw error(error_code::bad_definition,
                  "column " + column.name +
                      " cannot be UNIQUE: there are no indexes over floating "
                      "columns",
                  column.position);
    }
  }

  run_context& run_;
  syntax::create_table const& syntax_;
  embedded::class_definition class_;
  std::vector<embedded::index_definition> indexes_;
};

void create_table(run_context& run, syntax::create_table const& syntax) {
  if (syntax.if_not_exists && find_table(run, syntax.table)) return;
  table_definition(run, syntax).define();
}

void create_index(run_context& run, syntax::create_index const& syntax) {
  embedded::index_definition index;
  index.name = class_name_of(syntax.index);
  if (syntax.if_not_exists && run.kernel().has_index(index.name)) return;
  table_info const& table = existing_table(run, syntax.table);
  index.class_name = table.class_name;
  index.unique = syntax.unique;
  for (syntax::create_index::column const& column : syntax.columns) {
    auto const named = std::find_if(table.columns.begin(), table.columns.end(),
                                    [&](auto const& each) { return each.name == column.name; });
    if (named == table.columns.end()) {
      throw error(error_code::unknown_name, table.name + " has no column " + column.name,
                  column.position);
    }
    if (named->kind == kind::double_float || named->kind == kind::single_float) {
      throw error(error_code::bad_definition,
                  "column " + column.name +
                      " cannot be indexed: there are no indexes over columns "
                      "of type " +
                      kind_name(named->kind),
                  column.position);
    }
    index.columns.push_back({encoder::utf8_to_utf16(column.name), column.ascending});
  }
  run.connection.before_schema_change(*run.transaction);
  translated_at(syntax.index.position, [&] { run.kernel().define_index(index); });
}

}  // namespace

std::unique_ptr<operation> make_create_table(syntax::create_table const& definition) {
  return std::make_unique<action>(
      operation::access::write, [&definition](run_context& run) { create_table(run, definition); });
}

std::unique_ptr<operation> make_create_index(syntax::create_index const& definition) {
  return std::make_unique<action>(
      operation::access::write, [&definition](run_context& run) { create_index(run, definition); });
}

}  // namespace qd::sql
