#include "sql_executor/operators/object.h"

#include <string_view>

#include "db_util/db_exception.h"
#include "kernel/vela.h"
#include "sql_executor/operators/typed_operand.h"

namespace qd::sql_executor::operators {

using db_util::db_exception;
using operator_library::NullValue;
using operator_library::SetSpecifier;

is::is(operator_ptr&& object_expression, operator_ptr&& class_expression)
    : object(std::move(object_expression)), object_class(std::move(class_expression)) {}

std::optional<bool> is::test(evaluation_context const& context) const {
  // Class first.
  value class_scratch;
  auto const* const tested_class = read_as<SetSpecifier>(object_class, context, class_scratch);
  if (tested_class == nullptr) return std::nullopt;
  value object_scratch;
  auto const* const reference = read_as<QD_OBJ_REF>(object, context, object_scratch);
  if (reference == nullptr) return std::nullopt;
  VELA_UCS2 const* text = nullptr;
  db_exception::check(
      vela_context_get_setspec(context.kernel_context, reference->oid, reference->address, &text));
  std::u16string_view const own_specifier(text->units, text->count);
  return own_specifier.starts_with(tested_class->specifier);
}

value oid::eval(evaluation_context const& context) const {
  value scratch;
  auto const* const reference = read_as<QD_OBJ_REF>(child, context, scratch);
  if (reference == nullptr) return NullValue{};
  return reference->oid;
}

object_cast::object_cast(QD_OBJ_REF constant_reference) : reference(constant_reference) {}

value object_cast::eval(evaluation_context const& context) const {
  QD_OBJ_REF resolved = reference;
  db_exception::check(vela_context_lookup(context.kernel_context, resolved.oid, &resolved.address));
  return resolved;
}

}  // namespace qd::sql_executor::operators
