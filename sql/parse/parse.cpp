#include "sql/parse/parse.h"

#include "sql/error.h"
#include "sql/parse/check_text.h"
#include "sql/parse/converter.h"
#include "sql/parse/grammar.h"

namespace qd::sql {

syntax::statement parse(std::string_view text) {
  std::size_t const depth_bound = check_statement_text(text);
  syntax::statement result;
  with_grammar_tree(text, depth_bound, [&](PgQuery__ParseResult const& tree) {
    if (tree.n_stmts == 0) throw error(error_code::syntax, "there is no statement", 0);
    if (tree.n_stmts > 1) {
      throw error(error_code::syntax, "there is more than one statement",
                  static_cast<text_position>(tree.stmts[1]->stmt_location));
    }
    result = converter(text).convert_statement(*tree.stmts[0]->stmt);
  });
  return result;
}

}  // namespace qd::sql
