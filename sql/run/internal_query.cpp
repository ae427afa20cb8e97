#include "sql/run/internal_query.h"

#include "sql/run/texts.h"

namespace qd::sql {
namespace {

constexpr char row_name[] = "row";

syntax::expression_ptr expression_of(decltype(syntax::expression::content) content) {
  return std::make_unique<syntax::expression>(syntax::expression{std::move(content)});
}

syntax::expression_ptr column_of_row(std::string const& column) {
  return expression_of(syntax::column_path{{row_name, column}});
}

syntax::expression_ptr condition_of(column_query const& wanted) {
  switch (wanted.where) {
    case column_query::condition::none:
      return nullptr;
    case column_query::condition::equals_parameter:
      return expression_of(syntax::binary{syntax::binary_operator::equal,
                                          column_of_row(wanted.column),
                                          expression_of(syntax::parameter{1})});
    case column_query::condition::is_not_null:
      return expression_of(syntax::is_test{syntax::test::null, true, column_of_row(wanted.column)});
  }
  return nullptr;
}

syntax::object_name name_of(std::u16string const& class_name) {
  syntax::object_name name;
  for (std::size_t begin = 0; begin <= class_name.size();) {
    std::size_t const end = std::min(class_name.find(u'.', begin), class_name.size());
    name.parts.push_back(to_utf8(class_name.substr(begin, end - begin)));
    begin = end + 1;
  }
  return name;
}

}  // namespace

std::unique_ptr<query> make_internal_query(column_query const& wanted, connection_state& connection,
                                           reader& from) {
  auto table = std::make_unique<syntax::from_item>();
  table->content = syntax::table_item{name_of(wanted.table)};
  table->alias = row_name;
  syntax::select_core core;
  core.outputs.push_back({expression_of(syntax::column_path{{row_name}}), "row"});
  if (wanted.with_column) core.outputs.push_back({column_of_row(wanted.column), "value"});
  core.from.push_back(std::move(table));
  core.where = condition_of(wanted);
  syntax::query syntax;
  syntax.body = std::move(core);

  std::vector<kind> parameters;
  std::shared_ptr<sql::catalogue> const tables = connection.tables_of(from.schema());
  preparation const prepare{connection, &from, tables, parameters};
  return std::make_unique<query>(bind(syntax, prepare.binding()), prepare.planning());
}

}  // namespace qd::sql
