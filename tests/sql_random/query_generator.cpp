#include "sql_random/query_generator.h"

#include <algorithm>
#include <array>

namespace sql_random {
namespace {

enum class content { integer, text };

struct visible_column {
  std::string name;  // As an expression names it: alias.column.
  content kind;
};
using scope = std::vector<visible_column>;

constexpr std::array<char const*, 6> comparisons = {"=", "<", "<=", ">", ">=", "<>"};
constexpr std::array<char const*, 9> patterns = {"'a%'", "'ab'", "'a_'",  "'%b%'", "'ab%'",
                                                 "'%'",  "''",   "'_b%'", "'a%c'"};
// Compared with integers: equal to some, between others.
constexpr std::array<char const*, 4> decimals = {"2.0", "1.5", "-0.5", "3.0"};

constexpr std::uint32_t deepest_expression = 2;
constexpr std::uint32_t deepest_query = 2;
constexpr std::uint32_t most_tables = 4;

class generator {
 public:
  explicit generator(choices& draw) : draw_(draw) {}

  generated_query query() {
    generated_query made;
    std::vector<content> kinds;
    made.text = select_body(0, kinds);
    if (draw_.rarely(8)) {
      std::vector<content> const wanted = kinds;
      made.text += draw_.below(2) == 1 ? " UNION " : " UNION ALL ";
      made.text += select_of(wanted);
    }
    made.ordered = draw_.below(3) == 1;
    if (made.ordered) {
      made.text += ordered(kinds.size());
      made.text += limited();
    }
    made.joins = joins_;
    return made;
  }

 private:
  std::string literal(content kind) {
    return kind == content::integer ? integer_literal(draw_) : text_literal(draw_);
  }

  static std::string parameter(content kind) { return kind == content::integer ? "$1" : "$2"; }

  // A column of the kind; a literal when there is none.
  std::string column(scope const& names, content kind) {
    std::vector<std::string> fitting;
    for (visible_column const& each : names) {
      if (each.kind == kind) fitting.push_back(each.name);
    }
    return fitting.empty() ? literal(kind) : draw_.one_of(fitting);
  }

  static bool has(scope const& names, content kind) {
    return std::any_of(names.begin(), names.end(),
                       [&](visible_column const& each) { return each.kind == kind; });
  }

  std::string value(scope const& names, content kind, std::uint32_t depth) {
    std::uint32_t const choice = draw_.below(depth < deepest_expression ? 12 : 7);
    switch (choice) {
      case 4:
      case 5:
        return literal(kind);
      case 6:
        // A literal beside it says of what kind it is.
        return "COALESCE(" + parameter(kind) + ", " + literal(kind) + ")";
      case 7: {
        std::string const first = value(names, kind, depth + 1);
        return "COALESCE(" + first + ", " + value(names, kind, depth + 1) + ")";
      }
      case 8: {
        std::string const tested = condition(names, depth + 1);
        std::string const then = value(names, kind, depth + 1);
        return "CASE WHEN " + tested + " THEN " + then + " ELSE " + value(names, kind, depth + 1) +
               " END";
      }
      case 9: {
        std::string const compared = value(names, kind, depth + 1);
        return "NULLIF(" + compared + ", " + literal(kind) + ")";
      }
      case 10:
      case 11:
        if (kind == content::integer) {
          std::string const left = value(names, kind, depth + 1);
          std::string const right = value(names, kind, depth + 1);
          return "(" + left + (choice == 10 ? " + " : " - ") + right + ")";
        }
        return column(names, kind);
      default:
        return column(names, kind);
    }
  }

  std::string list(content kind, bool with_null) {
    std::string text = "(";
    std::uint32_t const count = 1 + draw_.below(4);
    for (std::uint32_t i = 0; i < count; ++i) {
      bool const decimal = kind == content::integer && draw_.rarely(5);
      text += i == 0 ? "" : ", ";
      text += decimal ? draw_.one_of(decimals) : literal(kind);
    }
    return text + (with_null ? ", NULL)" : ")");
  }

  std::string test(scope const& names, std::uint32_t depth) {
    // Of a column always: SQLite moves a constant condition of ON to WHERE, past outer joins.
    visible_column const& of = draw_.one_of(names);
    content const kind = of.kind;
    std::string tested = of.name;
    if (draw_.rarely(6)) {
      std::string const other = value(names, kind, depth + 1);
      tested = kind == content::integer ? "(" + tested + " - " + other + ")"
                                        : "COALESCE(" + tested + ", " + other + ")";
    }
    switch (draw_.below(9)) {
      case 4:
        return tested + (draw_.below(2) == 1 ? " IS NOT NULL" : " IS NULL");
      case 5: {
        bool const negated = draw_.rarely(3);
        return tested + (negated ? " NOT IN " : " IN ") + list(kind, draw_.rarely(6));
      }
      case 6: {
        std::string const least = literal(kind);
        return tested + " BETWEEN " + least + " AND " + value(names, kind, depth + 1);
      }
      case 7:
        if (kind == content::text) return tested + " LIKE " + draw_.one_of(patterns);
        return tested + " " + draw_.one_of(comparisons) + " " + draw_.one_of(decimals);
      case 8:
        return tested + " = " + literal(kind);
      default: {
        std::string const operation = draw_.one_of(comparisons);
        if (draw_.rarely(5)) return tested + " " + operation + " " + parameter(kind);
        return tested + " " + operation + " " + value(names, kind, depth + 1);
      }
    }
  }

  std::string condition(scope const& names, std::uint32_t depth) {
    if (depth >= deepest_expression) return test(names, depth);
    switch (draw_.below(8)) {
      case 4:
      case 5: {
        std::string const left = condition(names, depth + 1);
        return "(" + left + " AND " + condition(names, depth + 1) + ")";
      }
      case 6: {
        std::string const left = condition(names, depth + 1);
        return "(" + left + " OR " + condition(names, depth + 1) + ")";
      }
      case 7:
        return "NOT (" + condition(names, depth + 1) + ")";
      default:
        return test(names, depth);
    }
  }

  // Mostly an equality between the two sides.
  std::string join_condition(scope const& left, scope const& right, scope const& both) {
    content const kind = draw_.rarely(6) ? content::text : content::integer;
    if (draw_.rarely(5) || !has(left, kind) || !has(right, kind)) return condition(both, 0);
    std::string const of_left = column(left, kind);
    std::string text = of_left + " = " + column(right, kind);
    if (draw_.rarely(3)) text += " AND " + condition(both, 1);
    return text;
  }

  std::string source(std::uint32_t depth, scope& names) {
    std::string const alias = "x" + std::to_string(aliases_++);
    if (depth < deepest_query && draw_.rarely(5)) {
      std::vector<content> kinds;
      std::string body = select_body(depth + 1, kinds);
      if (draw_.rarely(4)) {
        std::vector<content> const wanted = kinds;
        body += draw_.rarely(3) ? " UNION " : " UNION ALL ";
        body += select_of(wanted);
      }
      if (draw_.rarely(4)) {
        body += ordered(kinds.size());
        body += limited();
      }
      for (std::size_t i = 0; i < kinds.size(); ++i) {
        names.push_back({alias + ".c" + std::to_string(i), kinds[i]});
      }
      return "(" + body + ") " + alias;
    }
    ++tables_;
    names.push_back({alias + ".a", content::integer});
    names.push_back({alias + ".b", content::integer});
    names.push_back({alias + ".id", content::integer});
    names.push_back({alias + ".s", content::text});
    return "t" + std::to_string(draw_.below(table_count)) + " " + alias;
  }

  std::string from(std::uint32_t depth, scope& names) {
    std::string text = source(depth, names);
    std::uint32_t const more = depth == 0 ? draw_.below(4) : draw_.below(2);
    for (std::uint32_t i = 0; i < more && tables_ < most_tables; ++i) {
      scope right;
      bool const nested = tables_ + 1 < most_tables && draw_.rarely(7);
      std::string side = source(depth, right);
      if (nested) {
        scope inner;
        std::string const other = source(depth, inner);
        scope both = right;
        both.insert(both.end(), inner.begin(), inner.end());
        char const* const kind = draw_.below(2) == 1 ? " LEFT JOIN " : " JOIN ";
        side = "(" + side + kind + other + " ON " + join_condition(right, inner, both) + ")";
        right = std::move(both);
        ++joins_;
      }
      scope both = names;
      both.insert(both.end(), right.begin(), right.end());
      ++joins_;
      switch (draw_.below(9)) {
        case 3:
        case 4:
        case 5:
          text += " LEFT JOIN " + side + " ON " + join_condition(names, right, both);
          break;
        case 6:
          text += " RIGHT JOIN " + side + " ON " + join_condition(names, right, both);
          break;
        case 7:
          text += " FULL JOIN " + side + " ON " + join_condition(names, right, both);
          break;
        case 8:
          text += " CROSS JOIN " + side;
          break;
        default:
          text += " JOIN " + side + " ON " + join_condition(names, right, both);
      }
      names = std::move(both);
    }
    return text;
  }

  std::string aggregate(scope const& names, content& kind) {
    kind = content::integer;
    switch (draw_.below(6)) {
      case 1:
        return "sum(" + value(names, content::integer, 1) + ")";
      case 2:
        return "count(" + column(names, draw_.below(2) == 1 ? content::text : content::integer) +
               ")";
      case 3:
        // The engine counts NULL as a value, SQLite does not.
        return "count(DISTINCT COALESCE(" + column(names, content::integer) + ", 0))";
      case 4:
      case 5: {
        if (draw_.below(2) == 1) kind = content::text;
        std::string const function = draw_.below(2) == 1 ? "min(" : "max(";
        return function + column(names, kind) + ")";
      }
      default:
        return "count(*)";
    }
  }

  std::string select_body(std::uint32_t depth, std::vector<content>& kinds) {
    scope names;
    std::string const rows = from(depth, names);
    std::string where = draw_.below(3) > 0 ? " WHERE " + condition(names, 0) : "";
    bool const grouped = draw_.rarely(5);
    std::vector<std::string> outputs;
    std::string tail;
    if (grouped) {
      std::uint32_t const groups = draw_.below(3);
      for (std::uint32_t i = 0; i < groups; ++i) {
        content const kind = draw_.rarely(4) ? content::text : content::integer;
        outputs.push_back(column(names, kind));
        // A literal in GROUP BY would be a position.
        if (outputs.back()[0] != 'x') outputs.back() = names.front().name;
        kinds.push_back(outputs.back() == names.front().name ? names.front().kind : kind);
        tail += (i == 0 ? " GROUP BY " : ", ") + outputs.back();
      }
      std::uint32_t const functions = 1 + draw_.below(2);
      for (std::uint32_t i = 0; i < functions; ++i) {
        content kind = content::integer;
        outputs.push_back(aggregate(names, kind));
        kinds.push_back(kind);
      }
      if (groups > 0 && draw_.rarely(4)) tail += " HAVING count(*) > " + integer_literal(draw_);
    } else {
      std::uint32_t const count = 1 + draw_.below(4);
      for (std::uint32_t i = 0; i < count; ++i) {
        content const kind = draw_.rarely(4) ? content::text : content::integer;
        outputs.push_back(draw_.rarely(4) ? value(names, kind, 0) : column(names, kind));
        kinds.push_back(kind);
      }
    }
    std::string text = !grouped && draw_.rarely(7) ? "SELECT DISTINCT " : "SELECT ";
    for (std::size_t i = 0; i < outputs.size(); ++i) {
      text += (i == 0 ? "" : ", ") + outputs[i] + " AS c" + std::to_string(i);
    }
    return text + " FROM " + rows + where + tail;
  }

  // A query of one table with outputs of these kinds.
  std::string select_of(std::vector<content> const& kinds) {
    scope names;
    std::string const rows = source(deepest_query, names);
    std::string text = "SELECT ";
    for (std::size_t i = 0; i < kinds.size(); ++i) {
      text += (i == 0 ? "" : ", ") + column(names, kinds[i]);
    }
    text += " FROM " + rows;
    if (draw_.below(2) == 1) text += " WHERE " + condition(names, 1);
    return text;
  }

  std::string ordered(std::size_t outputs) {
    std::string text = " ORDER BY ";
    std::size_t const first = draw_.below(static_cast<std::uint32_t>(outputs));
    for (std::size_t i = 0; i < outputs; ++i) {
      text += (i == 0 ? "" : ", ") + std::to_string((first + i) % outputs + 1);
      if (draw_.rarely(3)) text += " DESC";
    }
    return text;
  }

  std::string limited() {
    if (draw_.below(2) == 0) return "";
    std::string text = " LIMIT " + std::to_string(draw_.below(6));
    if (draw_.rarely(3)) text += " OFFSET " + std::to_string(draw_.below(3));
    return text;
  }

  choices& draw_;
  std::uint32_t aliases_ = 0;
  std::uint32_t tables_ = 0;
  std::uint32_t joins_ = 0;
};

}  // namespace

generated_query make_query(choices& draw) {
  return generator(draw).query();
}

}  // namespace sql_random
