#include "sql_executor/operators/value_from_context.h"

#include <stdexcept>
#include <string>

namespace qd::sql_executor::operators {

namespace {

// The number of `slot`'s position, and the vector that it counts in.
struct slot_parts {
  std::vector<value> evaluation_context::*sequence;
  long position;
  char const* name;
};

slot_parts take_apart(ContextSlot const& slot) {
  struct {
    slot_parts operator()(literal_index index) const {
      return {&evaluation_context::literals, index.position, "literals"};
    }
    slot_parts operator()(parameter_index index) const {
      return {&evaluation_context::parameters, index.position, "parameters"};
    }
    slot_parts operator()(bound_data_index index) const {
      return {&evaluation_context::bound_data, index.position, "bound data"};
    }
  } constexpr part_of;
  return std::visit(part_of, slot);
}

}  // namespace

value_from_context::value_from_context(ContextSlot context_slot) : slot(context_slot) {
  slot_parts const parts = take_apart(slot);
  sequence = parts.sequence;
  position = static_cast<unsigned long>(parts.position);
}

std::optional<bool> value_from_context::test(evaluation_context const& context) const {
  return GetOpt(read(context));
}

void value_from_context::raise_out_of_range(unsigned long size) const {
  slot_parts const parts = take_apart(slot);
  throw std::out_of_range("position " + std::to_string(parts.position) + " in the " + parts.name +
                          " of the evaluation context, which has " + std::to_string(size) +
                          " values");
}

value const& read(ContextSlot const& slot, evaluation_context const& context) {
  return value_from_context(slot).read(context);
}

}  // namespace qd::sql_executor::operators
