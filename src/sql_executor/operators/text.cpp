#include "sql_executor/operators/text.h"

#include <string>

#include "db_string/densetext.h"
#include "like/like.h"
#include "sql_executor/operators/typed_operand.h"

namespace qd::sql_executor::operators {

using db_string::dt_string;
using operator_library::NullValue;

namespace {

// The text of a string, in a buffer of the kernel that holds until the next kernel call.
std::u16string_view borrow_text(evaluation_context const& context, dt_string const& string) {
  auto const [units, count_with_zero_unit] =
      db_string::to_utf16_buffer(context.kernel_context, string);
  return {units, count_with_zero_unit - 1};
}

}  // namespace

concat::concat(std::vector<operator_ptr>&& expressions) {
  operands.reserve(expressions.size());
  for (operator_ptr& expression : expressions) operands.emplace_back(std::move(expression));
}

value concat::eval(evaluation_context const& context) const {
  std::u16string joined;
  for (operand const& source : operands) {
    value scratch;
    auto const* const string = read_as<dt_string>(source, context, scratch);
    if (string == nullptr) return NullValue{};
    joined += borrow_text(context, *string);
  }
  return dt_string(context.kernel_context, joined, false);
}

like::like(operator_ptr&& text_expression, operator_ptr&& pattern_expression)
    : text(std::move(text_expression)), pattern(std::move(pattern_expression)) {}

std::optional<bool> like::test(evaluation_context const& context) const {
  // Pattern first.
  value pattern_scratch;
  auto const* const pattern_string = read_as<dt_string>(pattern, context, pattern_scratch);
  if (pattern_string == nullptr) return std::nullopt;
  value text_scratch;
  auto const* const text_string = read_as<dt_string>(text, context, text_scratch);
  if (text_string == nullptr) return std::nullopt;
  // The pattern is copied; the text, converted last, is matched in the kernel's buffer.
  std::u16string const pattern_text = pattern_string->base_string(context.kernel_context);
  std::u16string_view const matched_text =
      db_string::to_base_utf16_view(context.kernel_context, *text_string);
  return ::like::Match(matched_text, pattern_text);
}

starts_with::starts_with(operator_ptr&& text_expression, operator_ptr&& prefix_expression)
    : text(std::move(text_expression)), prefix(std::move(prefix_expression)) {}

std::optional<bool> starts_with::test(evaluation_context const& context) const {
  // Prefix first.
  value prefix_scratch;
  value const& prefix_value = prefix.read(context, prefix_scratch);
  value text_scratch;
  value const& text_value = text.read(context, text_scratch);
  // A NULL on either side wins over a wrong kind on the other.
  if (prefix_value.is_null() || text_value.is_null()) return std::nullopt;
  dt_string const& prefix_string = *content_or_null<dt_string>(prefix_value);
  dt_string const& text_string = *content_or_null<dt_string>(text_value);
  return db_string::starts_with(
      db_string::read_densetext(text_string.data(), text_string.size()),
      db_string::read_densetext(prefix_string.data(), prefix_string.size()));
}

value like_starts_with::eval(evaluation_context const& context) const {
  value scratch;
  auto const* const pattern = read_as<dt_string>(child, context, scratch);
  if (pattern == nullptr) return NullValue{};
  std::optional<std::u16string> const prefix = ::like::StartsWith(borrow_text(context, *pattern));
  return dt_string(context.kernel_context, prefix.value_or(u""), false);
}

}  // namespace qd::sql_executor::operators
