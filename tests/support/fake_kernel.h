// A kernel for unit tests: it answers from tables that a test fills, notes what it was asked, lends
// buffers that it spoils at the next call, and fails when told to.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "kernel/metalayer.h"
#include "kernel/vela.h"

namespace fake_kernel {

// The context handle of the thread's metadata context.
inline constexpr unsigned long catalogue_context = 77;

// Ids of the catalogue's indexes.
inline constexpr unsigned long index_by_table = 101;
inline constexpr unsigned long index_pk = 102;
inline constexpr unsigned long indexed_column_pk = 103;
inline constexpr unsigned long member_pk = 104;
inline constexpr unsigned long name_token = 105;
inline constexpr unsigned long set_specifier_type = 106;

// One read of a column, as the kernel was asked for it.
struct column_read {
  std::string getter;  // Without its prefix: "get_ulong".
  unsigned long context;
  unsigned long oid;
  unsigned long address;
  unsigned int column;
  bool operator==(column_read const&) const = default;
};

struct opened_iterator {
  unsigned long context;
  unsigned long index_id;
  unsigned int flags;
  std::string first;
  std::string last;
  bool operator==(opened_iterator const&) const = default;
};

// What a column holds; Decimals are longs, bools unsigned longs.
using cell =
    std::variant<unsigned long, long, float, double, std::string, std::u16string, VELA_RECORD>;

struct kernel {
  // By oid and column. A column without a cell is NULL.
  std::map<std::pair<unsigned long, unsigned int>, cell> cells;
  // By oid; others are NULL.
  std::map<unsigned long, std::u16string> set_specifiers;
  // Address words by oid; the lookup of others fails with 4711.
  std::map<unsigned long, unsigned long> addresses;
  // Records by index id and first key, up to its end byte and padding: other keys find nothing.
  std::map<std::pair<unsigned long, std::string>, std::vector<VELA_RECORD>> entries;
  // Primitive type codes by oid of the type; others are 0.
  std::map<unsigned long, unsigned char> primitive_types;
  std::map<std::u16string, QD_OBJ_REF> tables;  // By name, last part first.

  unsigned int failing_call = 0;  // The number, from 1, of the call that fails; 0 is none.
  unsigned int status = 0;        // With this status.
  unsigned int free_status = 0;

  unsigned int calls = 0;  // Calls that have a status, those that free iterators excepted.
  std::vector<column_read> reads;
  std::vector<opened_iterator> opened;
  std::set<unsigned long> open_iterators;
  std::vector<std::u16string> names_asked;
};

// The one kernel of the process.
kernel& current();
// Forgets everything; for the start of each test.
void reset();

// A densetext of the fake's own: 0x80, then two bytes per unit, high byte first; the infinite form
// has FF FF behind the text. The empty text has no bytes. The base form of a text is the text with
// A to Z turned into lower case.
std::string encode(std::u16string_view text, bool infinite = false);

}  // namespace fake_kernel
