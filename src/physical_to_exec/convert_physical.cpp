#include "physical_to_exec/convert_physical.h"

#include <variant>

#include "error_handling/error_codes.h"
#include "error_handling/qd_exception.h"

namespace physical_to_exec {

namespace {

// The alternatives without a conversion.
template <typename Alternative>
ConvertedNode Convert(Alternative const&, ConversionContext const&) {
  error_handling::ThrowException(error_handling::not_implemented, error_handling::invalid_location,
                                 u"Not implemented error");
}

}  // namespace

ConvertedNode ConvertPhysical(physical_queryplan::QueryPlan::PredicateVariant const& plan,
                              ConversionContext const& context) {
  ConversionContext const below{context.literals, context.outer, context.level.deeper()};
  return std::visit([&below](auto const& alternative) { return Convert(alternative, below); },
                    plan.variant);
}

}  // namespace physical_to_exec
