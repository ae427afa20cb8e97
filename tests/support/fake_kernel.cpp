#include "support/fake_kernel.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <deque>
#include <string_view>

namespace fake_kernel {

namespace {

kernel the_kernel;
std::map<unsigned long, std::deque<VELA_RECORD>> pending;  // By iterator.
unsigned long last_iterator;

// The buffers lent since the last call, and all earlier ones, spoiled: whoever kept a pointer reads
// rubbish, but no freed memory.
std::deque<std::vector<unsigned long>> lent;
constexpr unsigned long spoiled = 0xDDDDDDDDDDDDDDDD;

void* lend(std::size_t bytes) {
  lent.emplace_back(bytes / sizeof(unsigned long) + 1);
  return lent.back().data();
}

// What every call with a status does first: spoils what was lent; the status to fail with, or 0.
unsigned int begin_call() {
  for (std::vector<unsigned long>& buffer : lent) std::ranges::fill(buffer, spoiled);
  ++the_kernel.calls;
  return the_kernel.calls == the_kernel.failing_call ? the_kernel.status : 0;
}

VELA_UCS2 const* lend_text(std::u16string_view text) {
  std::size_t const size = (text.size() + 1) * sizeof(char16_t);
  auto* const lent_text = static_cast<VELA_UCS2*>(lend(offsetof(VELA_UCS2, units) + size));
  lent_text->count = static_cast<unsigned int>(text.size());
  std::memcpy(lent_text->units, text.data(), size - sizeof(char16_t));
  return lent_text;
}

VELA_BYTES const* lend_bytes(std::string const& bytes) {
  auto* const lent_bytes =
      static_cast<VELA_BYTES*>(lend(offsetof(VELA_BYTES, bytes) + bytes.size()));
  lent_bytes->count = static_cast<unsigned int>(bytes.size());
  std::memcpy(lent_bytes->bytes, bytes.data(), bytes.size());
  return lent_bytes;
}

std::u16string decode(unsigned char const* bytes, unsigned long count) {
  std::u16string text;
  for (unsigned long place = 1; place + 1 < count; place += 2) {
    text.push_back(static_cast<char16_t>(bytes[place] << 8 | bytes[place + 1]));
  }
  return text;
}

std::u16string base_form(std::u16string text) {
  for (char16_t& unit : text) {
    if (u'A' <= unit && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
  }
  return text;
}

// Reads a cell of kind Stored and hands it to `deliver`.
template <typename Stored, typename Deliver>
unsigned int read_cell(char const* getter, unsigned long context, unsigned long oid,
                       unsigned long address, unsigned int column, Deliver deliver) {
  unsigned int const status = begin_call();
  the_kernel.reads.push_back({getter, context, oid, address, column});
  if (status != 0) return status;
  auto const found = the_kernel.cells.find({oid, column});
  if (found == the_kernel.cells.end()) return VELA_STATUS_NULL;
  deliver(std::get<Stored>(found->second));
  return 0;
}

std::string key_bytes(unsigned char const* key) {
  // No field of a test's keys contains the end byte.
  auto const* end = key;
  while (*end != 0xC0) ++end;
  return {key, end};
}

unsigned int fill(std::string const& bytes, unsigned char* buffer, unsigned long capacity) {
  if (buffer != nullptr) std::memcpy(buffer, bytes.data(), std::min(capacity, bytes.size()));
  return static_cast<unsigned int>(bytes.size());
}

// Reports the count negated, which callers must not mind.
int fill(std::u16string const& text, char16_t* buffer, unsigned int capacity_units) {
  for (unsigned int place = 0; place < capacity_units && place <= text.size(); ++place) {
    buffer[place] = text.c_str()[place];
  }
  return -static_cast<int>(text.size());
}

}  // namespace

kernel& current() {
  return the_kernel;
}

void reset() {
  the_kernel = {};
  pending.clear();
  lent.clear();
}

std::string encode(std::u16string_view text, bool infinite) {
  if (text.empty() && !infinite) return {};
  std::string bytes = "\x80";
  for (char16_t const unit : text) {
    bytes.push_back(static_cast<char>(unit >> 8));
    bytes.push_back(static_cast<char>(unit & 0xFF));
  }
  return infinite ? bytes + "\xFF\xFF" : bytes;
}

}  // namespace fake_kernel

using namespace fake_kernel;  // NOLINT: defines the functions that it stands for

extern "C" {

unsigned int vela_context_create_iterator(unsigned long context, unsigned long index_id,
                                          unsigned int flags, unsigned char const* first,
                                          unsigned char const* last, unsigned long* iterator) {
  if (unsigned int const status = begin_call(); status != 0) return status;
  std::string const first_key = key_bytes(first);
  the_kernel.opened.push_back({context, index_id, flags, first_key, key_bytes(last)});
  *iterator = ++last_iterator;
  auto const found = the_kernel.entries.find({index_id, first_key});
  if (found != the_kernel.entries.end()) {
    pending[last_iterator].assign(found->second.begin(), found->second.end());
  }
  the_kernel.open_iterators.insert(last_iterator);
  return 0;
}

unsigned int vela_iterator_next(unsigned long iterator, VELA_RECORD* record) {
  if (unsigned int const status = begin_call(); status != 0) return status;
  std::deque<VELA_RECORD>& records = pending[iterator];
  *record = records.empty() ? VELA_RECORD{} : records.front();
  if (!records.empty()) records.pop_front();
  return 0;
}

unsigned int vela_iterator_free(unsigned long iterator) {
  the_kernel.open_iterators.erase(iterator);
  return the_kernel.free_status;
}

unsigned int vela_context_get_ulong(unsigned long context, unsigned long oid, unsigned long address,
                                    unsigned int column, unsigned long* out) {
  return read_cell<unsigned long>("get_ulong", context, oid, address, column,
                                  [out](unsigned long content) { *out = content; });
}

unsigned int vela_context_get_long(unsigned long context, unsigned long oid, unsigned long address,
                                   unsigned int column, long* out) {
  return read_cell<long>("get_long", context, oid, address, column,
                         [out](long content) { *out = content; });
}

unsigned int vela_context_get_decimal(unsigned long context, unsigned long oid,
                                      unsigned long address, unsigned int column, long* out) {
  return read_cell<long>("get_decimal", context, oid, address, column,
                         [out](long content) { *out = content; });
}

unsigned int vela_context_get_float(unsigned long context, unsigned long oid, unsigned long address,
                                    unsigned int column, float* out) {
  return read_cell<float>("get_float", context, oid, address, column,
                          [out](float content) { *out = content; });
}

unsigned int vela_context_get_double(unsigned long context, unsigned long oid,
                                     unsigned long address, unsigned int column, double* out) {
  return read_cell<double>("get_double", context, oid, address, column,
                           [out](double content) { *out = content; });
}

unsigned int vela_context_get_binary(unsigned long context, unsigned long oid,
                                     unsigned long address, unsigned int column, VELA_VALUE* out) {
  return read_cell<std::string>("get_binary", context, oid, address, column,
                                [out](std::string const& content) {
                                  *out = {content.size(), lend_bytes(content)->bytes};
                                });
}

unsigned int vela_context_get_string(unsigned long context, unsigned long oid,
                                     unsigned long address, unsigned int column,
                                     VELA_UCS2 const** out) {
  *out = nullptr;
  return read_cell<std::u16string>(
      "get_string", context, oid, address, column,
      [out](std::u16string const& content) { *out = lend_text(content); });
}

unsigned int vela_context_get_reference(unsigned long context, unsigned long oid,
                                        unsigned long address, unsigned int column,
                                        VELA_RECORD* out) {
  return read_cell<VELA_RECORD>("get_reference", context, oid, address, column,
                                [out](VELA_RECORD const& content) { *out = content; });
}

unsigned int vela_meta_get_bool(unsigned long context, unsigned long oid, unsigned long address,
                                unsigned int column, unsigned long* out) {
  return read_cell<unsigned long>("get_bool", context, oid, address, column,
                                  [out](unsigned long content) { *out = content; });
}

unsigned int vela_context_get_setspec(unsigned long context, unsigned long oid,
                                      unsigned long address, VELA_UCS2 const** out) {
  unsigned int const status = begin_call();
  the_kernel.reads.push_back({"get_setspec", context, oid, address, 0});
  if (status != 0) return status;
  auto const found = the_kernel.set_specifiers.find(oid);
  if (found == the_kernel.set_specifiers.end()) return VELA_STATUS_NULL;
  *out = lend_text(found->second);
  return 0;
}

unsigned int vela_context_lookup(unsigned long, unsigned long oid, unsigned long* address) {
  if (unsigned int const status = begin_call(); status != 0) return status;
  auto const found = the_kernel.addresses.find(oid);
  if (found == the_kernel.addresses.end()) return 4711;
  *address = found->second;
  return 0;
}

unsigned int vela_context_convert_ucs2_to_densetext(unsigned long, char16_t const* text,
                                                    bool infinite, VELA_BYTES const** out) {
  if (unsigned int const status = begin_call(); status != 0) return status;
  *out = lend_bytes(encode(text, infinite));
  return 0;
}

unsigned int vela_context_convert_ucs2_to_setspecdt(unsigned long context, char16_t const* text,
                                                    bool infinite, VELA_BYTES const** out) {
  return vela_context_convert_ucs2_to_densetext(context, text, infinite, out);
}

unsigned int vela_context_convert_densetext_to_ucs2(unsigned long, unsigned char const* bytes,
                                                    unsigned long count, VELA_UCS2 const** out) {
  if (unsigned int const status = begin_call(); status != 0) return status;
  *out = lend_text(decode(bytes, count));
  return 0;
}

unsigned int vela_context_convert_densetext_to_base_ucs2(unsigned long, unsigned char const* bytes,
                                                         unsigned long count,
                                                         VELA_UCS2 const** out) {
  if (unsigned int const status = begin_call(); status != 0) return status;
  *out = lend_text(base_form(decode(bytes, count)));
  return 0;
}

unsigned int vela_convert_ucs2_to_densetext(char16_t const* text, bool infinite,
                                            unsigned char* buffer, unsigned long capacity) {
  return fill(encode(text, infinite), buffer, capacity);
}

unsigned int vela_convert_ucs2_to_setspecdt(char16_t const* text, bool infinite,
                                            unsigned char* buffer, unsigned long capacity) {
  std::string bytes = encode(text, infinite);
  if (!bytes.empty()) bytes += "\x01";  // Tells it from the other conversion.
  return fill(bytes, buffer, capacity);
}

int vela_convert_densetext_to_ucs2(unsigned char const* bytes, unsigned int count, char16_t* buffer,
                                   unsigned int capacity_units) {
  return fill(decode(bytes, count), buffer, capacity_units);
}

int vela_convert_densetext_to_base_ucs2(unsigned char const* bytes, unsigned int count,
                                        char16_t* buffer, unsigned int capacity_units) {
  return fill(base_form(decode(bytes, count)), buffer, capacity_units);
}

}  // extern "C"

namespace metalayer {

TlsMetalayerContext* TlsMetalayerContext::Current() {
  static TlsMetalayerContext context{catalogue_context};
  return &context;
}

QD_OBJ_REF RawViewByIncompleteReverseUid(char16_t const* name) {
  the_kernel.names_asked.emplace_back(name);
  auto const found = the_kernel.tables.find(name);
  if (found == the_kernel.tables.end()) throw exceptions::BadArg("no such table");
  return found->second;
}

QD_OBJ_REF DottedName2RawView(DottedName const& name) {
  std::u16string joined;
  for (std::u16string const& part : name) joined = joined.empty() ? part : part + u"." + joined;
  return RawViewByIncompleteReverseUid(joined.c_str());
}

unsigned char PrimTypeByTypeRef(QD_OBJ_REF const& type) {
  auto const found = the_kernel.primitive_types.find(type.oid);
  return found == the_kernel.primitive_types.end() ? 0 : found->second;
}

namespace Index {
unsigned long index_id_IndexByTable() {
  return index_by_table;
}
unsigned long index_id_IndexPK() {
  return index_pk;
}
}  // namespace Index
namespace IndexedColumn {
unsigned long index_id_IndexedColumnPK() {
  return indexed_column_pk;
}
}  // namespace IndexedColumn
namespace Member {
unsigned long index_id_MemberPK() {
  return member_pk;
}
}  // namespace Member
namespace Token {
unsigned long index_id_NameToken() {
  return name_token;
}
}  // namespace Token
namespace SetSpecifier {
unsigned long index_id_Type() {
  return set_specifier_type;
}
}  // namespace SetSpecifier

}  // namespace metalayer
