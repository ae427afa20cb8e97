#include "sql_executor/scan.h"

#include <stdexcept>

#include "db_util/db_exception.h"
#include "db_util/key_writer.h"
#include "kernel/vela.h"
#include "sql_executor/scan_enumerator.h"
#include "sql_executor/scan_interval.h"

namespace qd::sql_executor {

namespace {

using db_util::KeyWriter;

// Writes a column's key as a field.
template <typename Buffer>
void write_field(KeyWriter<Buffer>& writer, scan_range::ScanKey const& key) {
  struct field_writer {
    KeyWriter<Buffer>& to;
    void operator()(operator_library::NullValue) { to.write_null(); }
    void operator()(bool key) { to.write_bool(key); }
    void operator()(unsigned long key) { to.write_unsigned(key); }
    void operator()(long key) { to.write_signed(key); }
    void operator()(operator_library::Decimal key) { to.write_decimal(key); }
    void operator()(db_string::dt_string const& key) { to.write_string(key); }
    void operator()(scan_range::binary_key const& key) {
      auto const* const bytes = std::get_if<operator_library::Binary>(&key.content);
      bytes != nullptr ? to.write_binary(*bytes) : to.write_binary_upper_end();
    }
    void operator()(scan_range::ObjRef_key key) { to.write_unsigned(key.oid); }
  };
  std::visit(field_writer{writer}, key);
}

}  // namespace

// Every bounded column gives its low point to the first key and its high point to the last, so the
// flags of the last bounded column are those of the range. The columns behind it are filled so that
// the range covers, or skips, every key that continues the bounded fields:
//
//     first key  inclusive: [5][least]     first key  exclusive: [5][greatest]
//     last key   inclusive: [5][greatest]  last key   exclusive: [5][least]
//
// where the least is NULL and the greatest the type's largest key, the other way round on a
// descending column.
template <typename Buffer>
scan_enumerator::inclusion scan_enumerator::write_keys(scan const& node,
                                                       evaluation_context const& context,
                                                       KeyWriter<Buffer>& first,
                                                       KeyWriter<Buffer>& last) {
  inclusion ends{true, true};
  std::size_t column_index = 0;
  for (; column_index < node.bounds.size(); ++column_index) {
    scan::index_column_info const& column = node.index_columns[column_index];
    scan_range::interval range =
        scan_range::column_interval(node.bounds[column_index], column.type, context);
    if (!column.ascending) std::swap(range.low, range.high);
    write_field(first, range.low.key);
    write_field(last, range.high.key);
    ends = {range.low.inclusive, range.high.inclusive};
  }
  for (; column_index < node.index_columns.size(); ++column_index) {
    scan::index_column_info const& column = node.index_columns[column_index];
    scan_range::require_keyed_type(column.type);
    auto const write_end = [&](KeyWriter<Buffer>& writer, bool largest) {
      if (largest) {
        write_field(writer, scan_range::max_key_by_type(context, column.type));
      } else {
        writer.write_null();
      }
    };
    write_end(first, column.ascending != ends.first);
    write_end(last, column.ascending == ends.last);
  }
  first.UpdateHeader();
  last.UpdateHeader();
  return ends;
}

KernelKeys scan_enumerator::build_kernel_keys(scan const& node, evaluation_context const& context) {
  KernelKeys keys;
  KeyWriter<std::vector<unsigned char>&> first(keys.first);
  KeyWriter<std::vector<unsigned char>&> last(keys.last);
  inclusion const ends = write_keys(node, context, first, last);
  keys.first.resize(first.written());
  keys.last.resize(last.written());
  keys.first_inclusive = ends.first;
  keys.last_inclusive = ends.last;
  return keys;
}

scan_enumerator::scan_enumerator(scan const& node, evaluation_context const& context) {
  db_util::stack_key first_key;
  db_util::stack_key last_key;
  KeyWriter<db_util::stack_key&> first_writer(first_key);
  KeyWriter<db_util::stack_key&> last_writer(last_key);
  inclusion ends = write_keys(node, context, first_writer, last_writer);
  unsigned char const* first = first_key.data();
  unsigned char const* last = last_key.data();
  unsigned int flags = 0;
  if (!node.ascending) {
    std::swap(first, last);
    std::swap(ends.first, ends.last);
    flags |= VELA_ITERATE_DESCENDING;
  }
  if (ends.first) flags |= VELA_ITERATE_FIRST_INCLUSIVE;
  if (ends.last) flags |= VELA_ITERATE_LAST_INCLUSIVE;
  db_util::db_exception::check(vela_context_create_iterator(context.kernel_context, node.index_id,
                                                            flags, first, last, &iterator));
}

scan_enumerator::~scan_enumerator() {
  // A stopped or failed execution ends here too: there is nobody to report a status to.
  vela_iterator_free(iterator);
}

bool scan_enumerator::append_next(evaluation_context& context) {
  VELA_RECORD record;
  db_util::db_exception::check(vela_iterator_next(iterator, &record));
  if (record.oid == 0) return false;
  context.bound_data.emplace_back(QD_OBJ_REF{record.oid, record.address << 16 | record.layout});
  return true;
}

scan::scan(unsigned long index, std::vector<index_column_info>&& columns,
           std::vector<std::vector<interval_endpoint>>&& column_bounds, bool in_index_order)
    : bounds(std::move(column_bounds)),
      index_id(index),
      index_columns(std::move(columns)),
      ascending(in_index_order) {
  if (bounds.size() > index_columns.size()) {
    throw std::invalid_argument("a scan bounds " + std::to_string(bounds.size()) +
                                " columns of an index of " + std::to_string(index_columns.size()));
  }
  for (index_column_info const& column : index_columns) {
    if (column.type > value_type::boolean) throw std::invalid_argument("unknown type");
  }
  for (std::vector<interval_endpoint> const& endpoints : bounds) {
    for (interval_endpoint const& endpoint : endpoints) {
      if (endpoint.op > op::starts_with) throw std::invalid_argument("unknown relation");
    }
  }
}

std::unique_ptr<enumerator> scan::enumerate(evaluation_context& context) {
  return std::make_unique<scan_enumerator>(*this, context);
}

}  // namespace qd::sql_executor
