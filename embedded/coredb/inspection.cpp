#include "coredb/inspection.h"

#include "coredb/context.h"
#include "coredb/error.h"
#include "coredb/layout_counters.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

std::uint64_t own_objects(context const& context, std::uint16_t layout) {
  if (write_state const* const writer = context.writer()) {
    auto const known = writer->counters.find(layout);
    if (known != writer->counters.end()) return known->second.objects;
  }
  return read_layout_counters(context.transaction(), layout).objects;
}

std::uint64_t count_with_derived(context const& context, layout const& layout) {
  std::uint64_t count = own_objects(context, layout.definition.id);
  for (coredb::layout const* const derived : layout.derived) {
    count += count_with_derived(context, *derived);
  }
  return count;
}

}  // namespace

std::uint64_t count_objects(unsigned long handle, std::uint16_t layout_id) {
  context const& context = usable_context(handle);
  layout const* const layout = context.schema().find_layout(layout_id);
  if (!layout) {
    throw error(error_kind::bad_schema, "layout " + std::to_string(layout_id) + " does not exist");
  }
  return count_with_derived(context, *layout);
}

std::uint64_t count_entries(unsigned long handle, std::uint64_t index_id) {
  index const* const index = usable_context(handle).schema().find_index(index_id);
  if (!index) {
    throw error(error_kind::bad_schema, "index " + std::to_string(index_id) + " does not exist");
  }
  return count_objects(handle, index->definition.layout);
}

}  // namespace qd::coredb
