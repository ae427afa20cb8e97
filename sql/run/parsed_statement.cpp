#include "sql/run/parsed_statement.h"

#include <iterator>
#include <utility>

#include "sql/parse/parse.h"

namespace qd::sql {
namespace {

constexpr std::size_t rows_per_piece = 256;

struct command_name {
  std::string operator()(syntax::query const&) const { return "SELECT"; }
  std::string operator()(syntax::create_table const&) const { return "CREATE TABLE"; }
  std::string operator()(syntax::create_index const&) const { return "CREATE INDEX"; }
  std::string operator()(syntax::drop const& dropped) const {
    return dropped.kind == syntax::drop::what::table ? "DROP TABLE" : "DROP INDEX";
  }
  std::string operator()(syntax::insert const&) const { return "INSERT"; }
  std::string operator()(syntax::update const&) const { return "UPDATE"; }
  std::string operator()(syntax::delete_rows const&) const { return "DELETE"; }
  std::string operator()(syntax::begin const&) const { return "BEGIN"; }
  std::string operator()(syntax::commit const&) const { return "COMMIT"; }
  std::string operator()(syntax::roll_back const&) const { return "ROLLBACK"; }
  std::string operator()(syntax::copy const&) const { return "COPY"; }
  std::string operator()(syntax::explain const&) const { return "EXPLAIN"; }
  std::string operator()(syntax::prepare const&) const { return "PREPARE"; }
  std::string operator()(syntax::execute const&) const { return "EXECUTE"; }
  std::string operator()(syntax::deallocate const&) const { return "DEALLOCATE"; }
};

// The rows of an INSERT that only lists them; null for any other source.
std::vector<std::vector<syntax::expression_ptr>>* listed_rows(syntax::insert& insert) {
  if (!insert.source || !insert.source->order_by.empty() || insert.source->limit ||
      insert.source->offset) {
    return nullptr;
  }
  auto* const values = std::get_if<syntax::values_list>(&insert.source->body);
  return values ? &values->rows : nullptr;
}

std::vector<syntax::insert> cut_off_pieces(syntax::insert& insert) {
  std::vector<syntax::insert> pieces;
  auto* const rows = listed_rows(insert);
  if (!rows) return pieces;
  for (std::size_t first = rows_per_piece; first < rows->size(); first += rows_per_piece) {
    std::size_t const end = std::min(first + rows_per_piece, rows->size());
    auto const begin_of = [&](std::size_t row) {
      return std::make_move_iterator(rows->begin() + static_cast<std::ptrdiff_t>(row));
    };
    syntax::query source;
    source.body = syntax::values_list{{begin_of(first), begin_of(end)}};
    source.position = insert.source->position;
    pieces.push_back({insert.table, insert.columns, insert.column_positions,
                      std::make_unique<syntax::query>(std::move(source))});
  }
  if (rows->size() > rows_per_piece) rows->resize(rows_per_piece);
  return pieces;
}

std::optional<syntax::query> select_of(std::vector<syntax::expression_ptr>& arguments) {
  if (arguments.empty()) return std::nullopt;
  syntax::select_core core;
  for (syntax::expression_ptr& argument : arguments) {
    core.outputs.push_back({std::move(argument), {}});
  }
  syntax::query query;
  query.body = std::move(core);
  return query;
}

std::shared_ptr<parsed_statement const> in_pieces(syntax::statement statement) {
  auto parsed = std::make_shared<parsed_statement>();
  parsed->command = std::visit(command_name(), statement.content);
  if (auto* const insert = std::get_if<syntax::insert>(&statement.content)) {
    parsed->later_pieces = cut_off_pieces(*insert);
  } else if (auto* const execute = std::get_if<syntax::execute>(&statement.content)) {
    parsed->arguments = select_of(execute->arguments);
  } else if (auto* const explain = std::get_if<syntax::explain>(&statement.content)) {
    parsed->inner = in_pieces(std::move(*explain->explained));
  } else if (auto* const prepare = std::get_if<syntax::prepare>(&statement.content)) {
    parsed->inner = in_pieces(std::move(*prepare->prepared));
  }
  parsed->content = std::move(statement);
  return parsed;
}

}  // namespace

std::shared_ptr<parsed_statement const> parse_statement(std::string_view text) {
  return in_pieces(parse(text));
}

}  // namespace qd::sql
