// The grammar: a text becomes the grammar's own tree.
#pragma once

#include <pg_query/pg_query.pb-c.h>

#include <cstddef>
#include <functional>
#include <string_view>

namespace qd::sql {

// Parses `text`, which check_statement_text has accepted with this bound of its depth, and calls
// `use` with its tree, which lives until that returns. Trees that may be deep are made and used on a
// thread of their own, whose stack holds them. Throws sql::error, and what `use` throws.
void with_grammar_tree(std::string_view text, std::size_t depth_bound,
                       std::function<void(PgQuery__ParseResult const&)> const& use);

}  // namespace qd::sql
