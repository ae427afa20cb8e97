#include "dump.h"

#include <cstdio>

namespace qd::sql::test {

namespace {

// Else the functions here would hide the public ones.
using test::dump;

std::string join(std::vector<std::string> const& parts, char const* separator) {
  std::string result;
  for (std::string const& each : parts) {
    if (&each != &parts.front()) result += separator;
    result += each;
  }
  return result;
}

// " name=text" when there is a text.
std::string clause(std::string const& name, std::string const& text) {
  return text.empty() ? "" : " " + name + "=" + text;
}
std::string flag(bool set, char const* name) {
  return set ? std::string(" ") + name : "";
}

std::string dump(syntax::expression_ptr const& expression) {
  return expression == nullptr ? "" : dump(*expression);
}
std::string dump(std::vector<syntax::expression_ptr> const& expressions) {
  std::string result;
  for (auto const& each : expressions) result += " " + dump(each);
  return result;
}
std::string dump(syntax::object_name const& name) {
  return join(name.parts, ".");
}

std::string dump(syntax::type_name const& type) {
  static char const* const names[] = {"bigint", "unsigned", "numeric", "double", "real",
                                      "text",   "bytea",    "boolean", "class"};
  std::string const name = names[static_cast<int>(type.type)];
  return type.class_name.empty() ? name : name + ":" + join(type.class_name, ".");
}

char const* name_of(syntax::binary_operator operation) {
  static char const* const names[] = {"+",  "-", "*",  "/",  "=",   "<>", "<",
                                      "<=", ">", ">=", "||", "and", "or"};
  return names[static_cast<int>(operation)];
}

std::string not_if(bool negated, std::string const& name) {
  return negated ? "not-" + name : name;
}

struct expression_dump {
  std::string operator()(syntax::null_literal) const { return "null"; }
  std::string operator()(syntax::boolean_literal literal) const {
    return literal.truth ? "true" : "false";
  }
  std::string operator()(syntax::integer_literal const& literal) const { return literal.digits; }
  std::string operator()(syntax::decimal_literal const& literal) const {
    return "decimal:" + literal.digits;
  }
  std::string operator()(syntax::floating_literal const& literal) const {
    return "float:" + literal.digits;
  }
  std::string operator()(syntax::text_literal const& literal) const {
    return "'" + literal.text + "'";
  }
  std::string operator()(syntax::binary_literal const& literal) const {
    std::string result = "x";
    for (char const byte : literal.bytes) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
      result += digits;
    }
    return result;
  }
  std::string operator()(syntax::parameter parameter) const {
    return "$" + std::to_string(parameter.number);
  }
  std::string operator()(syntax::column_path const& path) const { return join(path.parts, "."); }
  std::string operator()(syntax::star const& star) const {
    return star.qualifier.empty() ? "*" : join(star.qualifier, ".") + ".*";
  }
  std::string operator()(syntax::unary const& unary) const {
    static char const* const names[] = {"neg", "pos", "not"};
    return std::string("(") + names[static_cast<int>(unary.operation)] + " " + dump(unary.operand) +
           ")";
  }
  std::string operator()(syntax::binary const& binary) const {
    return std::string("(") + name_of(binary.operation) + " " + dump(binary.left) + " " +
           dump(binary.right) + ")";
  }
  std::string operator()(syntax::is_test const& test) const {
    static char const* const names[] = {"null", "true", "false", "unknown"};
    return "(" + not_if(test.negated, std::string("is-") + names[static_cast<int>(test.what)]) +
           " " + dump(test.operand) + ")";
  }
  std::string operator()(syntax::in_list const& in) const {
    return "(" + not_if(in.negated, "in ") + dump(in.operand) + ":" + dump(in.items) + ")";
  }
  std::string operator()(syntax::between const& between) const {
    return "(" + not_if(between.negated, "between ") + dump(between.operand) + " " +
           dump(between.low) + " " + dump(between.high) + ")";
  }
  std::string operator()(syntax::like const& like) const {
    return "(" + not_if(like.negated, "like ") + dump(like.operand) + " " + dump(like.pattern) +
           ")";
  }
  std::string operator()(syntax::case_expression const& cases) const {
    std::string result = "(case" + clause("of", dump(cases.operand));
    for (auto const& each : cases.branches) {
      result += " " + dump(each.condition) + "->" + dump(each.result);
    }
    return result + clause("else", dump(cases.otherwise)) + ")";
  }
  std::string operator()(syntax::cast const& cast) const {
    return "(cast " + dump(cast.operand) + " " + dump(cast.target) + ")";
  }
  std::string operator()(syntax::function_call const& call) const {
    return "(" + call.name + flag(call.distinct, "distinct") + flag(call.star, "*") +
           dump(call.arguments) + ")";
  }
};

std::string dump(syntax::from_item const& item);

struct from_dump {
  std::string operator()(syntax::table_item const& table) const { return dump(table.table); }
  std::string operator()(syntax::derived_item const& derived) const { return dump(*derived.query); }
  std::string operator()(syntax::join_item const& join_of) const {
    static char const* const names[] = {"cross", "join", "left", "right", "full"};
    return std::string("(") + names[static_cast<int>(join_of.kind)] + " " + dump(*join_of.left) +
           " " + dump(*join_of.right) + clause("on", dump(join_of.condition)) +
           clause("using", join(join_of.using_columns, ",")) + ")";
  }
};

std::string dump(syntax::from_item const& item) {
  return std::visit(from_dump(), item.content) + (item.alias.empty() ? "" : ":" + item.alias) +
         (item.column_aliases.empty() ? "" : "[" + join(item.column_aliases, ",") + "]");
}

struct body_dump {
  std::string operator()(syntax::select_core const& core) const {
    std::string result = "select" + flag(core.distinct, "distinct");
    for (auto const& each : core.outputs) {
      result += " " + dump(each.value) + (each.alias.empty() ? "" : ":" + each.alias);
    }
    for (auto const& each : core.from) result += clause("from", dump(*each));
    result += clause("where", dump(core.where));
    for (auto const& each : core.group_by) result += clause("by", dump(each));
    return result + clause("having", dump(core.having));
  }
  std::string operator()(syntax::values_list const& values) const {
    std::string result = "values";
    for (auto const& row : values.rows) result += " (" + dump(row).substr(1) + ")";
    return result;
  }
  std::string operator()(syntax::union_of const& sides) const {
    return std::string(sides.all ? "union-all " : "union ") + dump(*sides.left) + " " +
           dump(*sides.right);
  }
};

std::string dump(syntax::column_definition const& column) {
  std::string references = dump(column.references);
  if (!column.lookup_column.empty()) references += "(" + column.lookup_column + ")";
  return " " + column.name + ":" + dump(column.type) + flag(column.not_null, "not-null") +
         flag(column.unique, "unique") + clause("references", references);
}

std::string columns_of(std::vector<std::string> const& names) {
  return names.empty() ? "" : "(" + join(names, ",") + ")";
}

struct statement_dump {
  std::string operator()(syntax::query const& query) const { return dump(query); }
  std::string operator()(syntax::create_table const& create) const {
    std::string result = "create-table" + flag(create.if_not_exists, "if-not-exists") + " " +
                         dump(create.table) + clause("base", dump(create.base));
    for (auto const& each : create.columns) result += dump(each);
    for (auto const& each : create.constraints) {
      result += each.primary_key ? " primary" : " unique";
      result += columns_of(each.columns);
    }
    return result;
  }
  std::string operator()(syntax::create_index const& create) const {
    std::string result = "create-index" + flag(create.unique, "unique") +
                         flag(create.if_not_exists, "if-not-exists") + " " + dump(create.index) +
                         " " + dump(create.table);
    for (auto const& each : create.columns) result += " " + each.name + (each.ascending ? "" : "-");
    return result;
  }
  std::string operator()(syntax::drop const& drop) const {
    std::string result = drop.kind == syntax::drop::what::table ? "drop-table" : "drop-index";
    result += flag(drop.if_exists, "if-exists") + flag(drop.cascade, "cascade");
    for (auto const& each : drop.names) result += " " + dump(each);
    return result;
  }
  std::string operator()(syntax::insert const& insert) const {
    return "insert " + dump(insert.table) + columns_of(insert.columns) + " " +
           (insert.source == nullptr ? "default" : dump(*insert.source));
  }
  std::string operator()(syntax::update const& update) const {
    std::string result = "update " + dump(update.table) + clause("as", update.alias);
    for (auto const& each : update.assignments) {
      result += " " + each.column + ":=" + dump(each.value);
    }
    return result + clause("where", dump(update.where));
  }
  std::string operator()(syntax::delete_rows const& deletion) const {
    return "delete " + dump(deletion.table) + clause("as", deletion.alias) +
           clause("where", dump(deletion.where));
  }
  std::string operator()(syntax::begin) const { return "begin"; }
  std::string operator()(syntax::commit) const { return "commit"; }
  std::string operator()(syntax::roll_back) const { return "rollback"; }
  std::string operator()(syntax::copy const& copy) const {
    return "copy " + (copy.query == nullptr ? dump(copy.table) : dump(*copy.query)) +
           columns_of(copy.columns) + (copy.from ? " from " : " to ") +
           (copy.file.empty() ? "-" : copy.file) + flag(copy.header, "header") + " " +
           copy.delimiter + copy.quote + clause("null", copy.null_text) +
           flag(copy.skip_refused, "skip");
  }
  std::string operator()(syntax::explain const& explain) const {
    return "explain " + dump(*explain.explained);
  }
  std::string operator()(syntax::prepare const& prepare) const {
    return "prepare " + prepare.name + " " + dump(*prepare.prepared);
  }
  std::string operator()(syntax::execute const& execute) const {
    return "execute " + execute.name + dump(execute.arguments);
  }
  std::string operator()(syntax::deallocate const& deallocate) const {
    return "deallocate " + (deallocate.name.empty() ? "all" : deallocate.name);
  }
};

}  // namespace

std::string dump(syntax::expression const& expression) {
  return std::visit(expression_dump(), expression.content);
}

std::string dump(syntax::query const& query) {
  std::string result = "{";
  for (auto const& each : query.with) {
    result += "with " + each.name + columns_of(each.column_aliases) + "=" + dump(*each.query) + " ";
  }
  result += std::visit(body_dump(), query.body);
  for (auto const& each : query.order_by) {
    result += clause("order", dump(each.key)) + flag(!each.ascending, "desc");
    result += flag(each.where == syntax::sort_item::nulls::first, "nulls-first");
    result += flag(each.where == syntax::sort_item::nulls::last, "nulls-last");
  }
  return result + clause("limit", dump(query.limit)) + clause("offset", dump(query.offset)) + "}";
}

std::string dump(syntax::statement const& statement) {
  return std::visit(statement_dump(), statement.content);
}

}  // namespace qd::sql::test
