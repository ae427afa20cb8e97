// The metadata library's functions, as the engine calls them (libqddbmetalayer): the calling
// thread's metadata context, name resolution, primitive type codes, ids of the catalogue's indexes.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "kernel/obj_ref.h"

namespace metalayer {

// The calling thread's metadata context. Its first word is the kernel context handle through which
// this thread reads the catalogue.
struct TlsMetalayerContext {
  unsigned long kernel_context;

  // Never null; a thread without a bound context raises std::logic_error.
  static TlsMetalayerContext* Current();
};

namespace exceptions {
// A name that denotes no table.
class BadArg : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};
}  // namespace exceptions

// The parts of a dotted name, outermost first.
using DottedName = std::vector<std::u16string>;

// The table that a possibly incomplete dotted name denotes, the name's last part first ("c.b.a" for
// a.b.c). Throws exceptions::BadArg when there is none.
QD_OBJ_REF RawViewByIncompleteReverseUid(char16_t const* name);
// The table (class) of a full dotted name. Throws exceptions::BadArg when there is none.
QD_OBJ_REF DottedName2RawView(DottedName const& name);
// The primitive type code (1 string, 2 binary, 3 signed, 4 unsigned, 5 decimal, 6 float, 7 double,
// 8 reference, 10 bool) of a column's type record; a table's record has code 8.
unsigned char PrimTypeByTypeRef(QD_OBJ_REF const& type);

// Ids of the catalogue's indexes, to be passed to vela_context_create_iterator.
namespace Index {
unsigned long index_id_IndexByTable();
unsigned long index_id_IndexPK();
}  // namespace Index
namespace IndexedColumn {
unsigned long index_id_IndexedColumnPK();
}  // namespace IndexedColumn
namespace Member {
unsigned long index_id_MemberPK();
}  // namespace Member
namespace Token {
unsigned long index_id_NameToken();
}  // namespace Token
namespace SetSpecifier {
unsigned long index_id_Type();
}  // namespace SetSpecifier

}  // namespace metalayer
