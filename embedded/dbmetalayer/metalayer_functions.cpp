// The functions that the engine calls of the metadata library.
#include <algorithm>
#include <vector>

#include "dbmetalayer/catalogue.h"
#include "dbmetalayer/catalogue_reader.h"
#include "dbmetalayer/names.h"
#include "dbmetalayer/thread_context.h"
#include "dbmetalayer/value.h"

namespace qd::embedded {
namespace {

// The bindings of this thread, the latest last. Those that ended elsewhere, or out of order, stay
// until they come to the end.
thread_local std::vector<std::shared_ptr<bound_context>> bindings;
// The last element of `bindings`, found without the check that a vector of a thread needs; null
// when there is none.
constinit thread_local bound_context* latest = nullptr;

// Forgets the bindings that ended, from the end on.
void drop_ended() {
  while (!bindings.empty() && bindings.back()->ended.load(std::memory_order_acquire)) {
    bindings.pop_back();
  }
  latest = bindings.empty() ? nullptr : bindings.back().get();
}

}  // namespace

std::shared_ptr<bound_context> bind_to_thread(unsigned long context) {
  auto binding = std::make_shared<bound_context>();
  binding->record.kernel_context = context;
  std::erase_if(bindings, [](auto const& each) { return each->ended.load(); });
  drop_ended();
  bindings.push_back(binding);
  latest = binding.get();
  return binding;
}

}  // namespace qd::embedded

namespace metalayer {

namespace catalogue = qd::embedded::catalogue;

TlsMetalayerContext* TlsMetalayerContext::Current() {
  using qd::embedded::latest;
  if (latest && latest->ended.load(std::memory_order_acquire)) qd::embedded::drop_ended();
  if (!latest) throw std::logic_error("no database context is bound to this thread");
  return &latest->record;
}

QD_OBJ_REF RawViewByIncompleteReverseUid(char16_t const* name) {
  if (!name) throw exceptions::BadArg("a table name is missing");
  unsigned long const context = TlsMetalayerContext::Current()->kernel_context;
  std::vector<QD_OBJ_REF> const tables = qd::embedded::tables_by_reverse_name(context, name);
  if (tables.size() == 1) return tables.front();
  std::string const written = qd::embedded::to_utf8(qd::embedded::reverse_name(name));
  if (tables.empty()) throw exceptions::BadArg("there is no table " + written);
  auto const full_name = [&](QD_OBJ_REF const& table) {
    return qd::embedded::to_utf8(
        qd::embedded::read_text(context, table, catalogue::table::full_name));
  };
  throw exceptions::BadArg("the table name " + written + " is ambiguous: " + full_name(tables[0]) +
                           ", " + full_name(tables[1]));
}

QD_OBJ_REF DottedName2RawView(DottedName const& name) {
  std::u16string full_name;
  for (std::u16string const& part : name) {
    if (&part != &name.front()) full_name += u'.';
    full_name += part;
  }
  auto const table =
      qd::embedded::find_table(TlsMetalayerContext::Current()->kernel_context, full_name);
  if (!table) throw exceptions::BadArg("there is no table " + qd::embedded::to_utf8(full_name));
  return *table;
}

unsigned char PrimTypeByTypeRef(QD_OBJ_REF const& type) {
  // A column without a type has none of the codes.
  if (type.oid == 0) return 0;
  return static_cast<unsigned char>(qd::embedded::read_number(
      TlsMetalayerContext::Current()->kernel_context, type, catalogue::type::primitive_code));
}

namespace Index {
unsigned long index_id_IndexByTable() {
  return catalogue::index_by_table;
}
unsigned long index_id_IndexPK() {
  return catalogue::index_by_full_name;
}
}  // namespace Index
namespace IndexedColumn {
unsigned long index_id_IndexedColumnPK() {
  return catalogue::index_column_by_place;
}
}  // namespace IndexedColumn
namespace Member {
unsigned long index_id_MemberPK() {
  return catalogue::column_by_member;
}
}  // namespace Member
namespace Token {
unsigned long index_id_NameToken() {
  return catalogue::name_token_by_number;
}
}  // namespace Token
namespace SetSpecifier {
unsigned long index_id_Type() {
  return catalogue::set_specifier_by_type;
}
}  // namespace SetSpecifier

}  // namespace metalayer
