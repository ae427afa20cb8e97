#include <algorithm>
#include <set>

#include "sql/parse/converter.h"
#include "sql/text/ascii.h"

namespace qd::sql {

namespace {

std::string lower_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ascii::lower);
  return text;
}

// An option's argument as text; empty without one.
std::string argument_text(PgQuery__DefElem const& option) {
  if (option.arg == nullptr) return {};
  switch (option.arg->node_case) {
    case PG_QUERY__NODE__NODE_STRING:
      return option.arg->string->sval;
    case PG_QUERY__NODE__NODE_BOOLEAN:
      return option.arg->boolean->boolval ? "true" : "false";
    case PG_QUERY__NODE__NODE_INTEGER:
      return std::to_string(option.arg->integer->ival);
    default:
      throw error(error_code::syntax,
                  std::string("the option ") + option.defname + " takes one word or text",
                  static_cast<text_position>(option.location));
  }
}

bool is_line_end(char byte) {
  return byte == '\n' || byte == '\r';
}

}  // namespace

syntax::copy converter::convert_copy(PgQuery__CopyStmt const& copy) {
  text_position const begin = statement_begin();
  refuse_if(copy.is_program, "COPY with a PROGRAM is", place_of_name("program", begin));
  refuse_if(copy.where_clause != nullptr, "WHERE of COPY is", place_of_name("where", begin));
  syntax::copy result;
  result.from = copy.is_from;
  if (copy.relation != nullptr) result.table = plain_table(*copy.relation, "COPY");
  if (copy.query != nullptr) result.query = convert_query_node(*copy.query);
  result.columns = strings_of(QD_NODES(copy, attlist), result.table.position);
  result.file = copy.filename;
  if (result.file.empty() && place_of_name("stdin", begin) == begin &&
      place_of_name("stdout", begin) == begin) {
    throw error(error_code::bad_input, "the name of the file is empty", begin);
  }
  std::set<std::string> seen;
  for (PgQuery__Node const* const node : QD_NODES(copy, options)) {
    PgQuery__DefElem const& option = *node->def_elem;
    if (!seen.insert(option.defname).second) {
      throw error(error_code::syntax, std::string("the option ") + option.defname + " stands twice",
                  place(option.location));
    }
    convert_copy_option(option, result);
  }
  auto const in_null_text = [&](char byte) {
    return result.null_text.find(byte) != std::string::npos;
  };
  if (result.delimiter == result.quote) {
    throw error(error_code::bad_definition, "the delimiter and the quote of COPY are the same",
                begin);
  }
  if (in_null_text(result.delimiter) || in_null_text(result.quote) || in_null_text('\n') ||
      in_null_text('\r')) {
    throw error(error_code::bad_definition,
                "the text for NULL has a delimiter, a quote or a line end in it", begin);
  }
  return result;
}

void converter::convert_copy_option(PgQuery__DefElem const& option, syntax::copy& copy) {
  text_position const position = place(option.location);
  std::string const name = option.defname;
  std::string const argument = argument_text(option);
  auto const take_byte = [&](char& byte) {
    if (argument.size() != 1 || static_cast<unsigned char>(argument[0]) >= 0x80 ||
        is_line_end(argument[0])) {
      throw error(error_code::bad_definition, "the option " + name + " takes one ASCII character",
                  position);
    }
    byte = argument[0];
  };
  if (name == "format") {
    if (lower_case(argument) != "csv") refuse("the format " + argument + " is", position);
  } else if (name == "header") {
    std::string const choice = lower_case(argument);
    copy.header = choice.empty() || choice == "true" || choice == "on" || choice == "1";
    if (!copy.header && choice != "false" && choice != "off" && choice != "0") {
      refuse("HEADER " + argument + " is", position);
    }
  } else if (name == "delimiter") {
    take_byte(copy.delimiter);
  } else if (name == "quote") {
    take_byte(copy.quote);
  } else if (name == "null") {
    copy.null_text = argument;
  } else if (name == "on_error") {
    std::string const choice = lower_case(argument);
    if (choice != "skip" && choice != "stop") refuse("ON_ERROR " + argument + " is", position);
    refuse_if(!copy.from, "ON_ERROR of COPY TO is", position);
    copy.skip_refused = choice == "skip";
  } else {
    refuse("the option " + name + " of COPY is", position);
  }
}

}  // namespace qd::sql
