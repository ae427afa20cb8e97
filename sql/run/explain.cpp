// EXPLAIN: plans as rows of text.
#include "db_string/string_encoder.h"
#include "physical_queryplan/plan_printer.h"
#include "sql/run/operation.h"

namespace qd::sql {
namespace {

std::string print(std::string const& title, algebra::bound_query bound,
                  preparation const& prepare) {
  std::string const tree = physical_queryplan::Print(plan(std::move(bound), prepare.planning()));
  if (title.empty()) return tree;
  std::string indented = title + '\n';
  for (std::size_t begin = 0; begin < tree.size();) {
    std::size_t const end = std::min(tree.find('\n', begin), tree.size());
    indented += "  " + tree.substr(begin, end - begin) + '\n';
    begin = end + 1;
  }
  return indented;
}

std::string column_names(table_info const& table, std::vector<std::size_t> const& columns) {
  std::string names;
  for (std::size_t const column : columns) {
    names += (names.empty() ? "" : ", ") + table.columns[column].name;
  }
  return names;
}

struct plan_printer {
  parsed_statement const& statement;
  preparation const& prepare;

  std::string operator()(syntax::query const& query) const {
    return print({}, bind(query, prepare.binding()), prepare);
  }
  std::string operator()(syntax::insert const& insert) const {
    bound_insert bound = bind(insert, prepare.binding());
    return print(
        "Insert into " + bound.table->name + " (" + column_names(*bound.table, bound.columns) + ")",
        std::move(bound.source), prepare);
  }
  std::string operator()(syntax::update const& update) const {
    bound_update bound = bind(update, prepare.binding());
    return print(
        "Update " + bound.table->name + " (" + column_names(*bound.table, bound.columns) + ")",
        std::move(bound.source), prepare);
  }
  std::string operator()(syntax::delete_rows const& deletion) const {
    bound_delete bound = bind(deletion, prepare.binding());
    return print("Delete from " + bound.table->name, std::move(bound.source), prepare);
  }
  std::string operator()(syntax::explain const&) const {
    return explain(*statement.inner, prepare);
  }
  std::string operator()(syntax::execute const&) const {
    // Its parameters are not those of the statement that gives them values.
    std::vector<kind> parameters;
    preparation const inner{prepare.connection, prepare.from, prepare.tables, parameters};
    if (statement.arguments) bind(*statement.arguments, prepare.binding());
    std::shared_ptr<parsed_statement const> const executed =
        prepare.connection.prepared_statement(statement.content);
    return at_place(statement.content.position, [&] { return explain(*executed, inner); });
  }
  // Statements without a plan.
  template <typename Statement>
  std::string operator()(Statement const&) const {
    return {};
  }
};

class explain_operation final : public operation {
 public:
  explain_operation(parsed_statement const& explained, preparation const& prepare)
      : columns_{{"plan", kind::text, {}}} {
    std::string const text = explain(explained, prepare);
    if (text.empty()) {
      throw error(error_code::not_supported, "EXPLAIN of " + explained.command +
                                                 " is not supported: the statement has no plan");
    }
    for (std::size_t begin = 0; begin < text.size();) {
      std::size_t const end = std::min(text.find('\n', begin), text.size());
      lines_.push_back(text.substr(begin, end - begin));
      begin = end + 1;
    }
  }

  access needs() const override { return access::read; }
  std::vector<result_column> const& columns() const override { return columns_; }
  void start(run_context&) override { next_line_ = 0; }
  bool next(std::vector<value>& row) override {
    if (next_line_ == lines_.size()) return false;
    row.clear();
    row.emplace_back(db_string::dt_string(encoder::utf8_to_utf16(lines_[next_line_++]), false));
    return true;
  }

 private:
  std::vector<result_column> columns_;
  std::vector<std::string> lines_;
  std::size_t next_line_ = 0;
};

}  // namespace

std::string explain(parsed_statement const& statement, preparation const& prepare) {
  return std::visit(plan_printer{statement, prepare}, statement.content.content);
}

std::unique_ptr<operation> make_explain(parsed_statement const& explained,
                                        preparation const& prepare) {
  return std::make_unique<explain_operation>(explained, prepare);
}

}  // namespace qd::sql
