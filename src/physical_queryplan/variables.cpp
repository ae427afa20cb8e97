#include "physical_queryplan/variables.h"

namespace physical_queryplan::QueryPlan {

bool operator==(TableVariable const& left, TableVariable const& right) {
  return left.table == right.table && left.location == right.location && left.path == right.path;
}

bool operator==(Path const& left, Path const& right) {
  return left.source == right.source && left.columns == right.columns;
}

}  // namespace physical_queryplan::QueryPlan
