#include "physical_to_exec/convert_physical.h"

#include <variant>

namespace physical_to_exec {

ConvertedNode ConvertPhysical(physical_queryplan::QueryPlan::PredicateVariant const& plan,
                              ConversionContext const& context) {
  ConversionContext const below{context.literals, context.outer, context.level.deeper()};
  return std::visit([&below](auto const& alternative) { return Convert(alternative, below); },
                    plan.variant);
}

}  // namespace physical_to_exec
