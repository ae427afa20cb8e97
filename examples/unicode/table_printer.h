// Query results as tables of text.
#pragma once

#include <iosfwd>
#include <vector>

#include "queries.h"
#include "query_run.h"

namespace unicode_demo {

// Prints the columns' names, the rows that the result kept, how many more there are, the number of
// all rows and the time. Columns are as wide as their widest text; numbers stand on the right.
void print_result(std::ostream& out, std::vector<output_column> const& columns,
                  query_result const& result);

}  // namespace unicode_demo
