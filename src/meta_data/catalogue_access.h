// How the catalogue is read: properties of its records, and scans of its indexes, both through the
// calling thread's metadata context.
#pragma once

#include <string>

#include "db_util/db_iter_with_keys.h"
#include "kernel/obj_ref.h"

namespace meta_data::catalogue {

// Properties by record kind: the column numbers that the kernel's getters take.
namespace table {
inline constexpr unsigned int full_name = 6;
inline constexpr unsigned int layout_id = 9;
}  // namespace table
namespace column {
inline constexpr unsigned int in_table = 3;
inline constexpr unsigned int full_name = 4;
inline constexpr unsigned int type = 5;
inline constexpr unsigned int nullable = 7;
inline constexpr unsigned int index = 9;
}  // namespace column
namespace index {
inline constexpr unsigned int full_name = 3;
inline constexpr unsigned int id = 6;
}  // namespace index
namespace index_column {
inline constexpr unsigned int column = 4;
inline constexpr unsigned int position = 5;
inline constexpr unsigned int ascending = 6;
}  // namespace index_column
namespace set_specifier {
inline constexpr unsigned int text = 3;
}
namespace token {
inline constexpr unsigned int text = 4;
}

// Every function throws db_exception with the kernel's status; the texts and references are empty
// and null for NULL, of which the others raise the status.
//
// A text ends at its first zero unit.
std::u16string text_property(QD_OBJ_REF const& record, unsigned int property);
QD_OBJ_REF reference_property(QD_OBJ_REF const& record, unsigned int property);
unsigned long unsigned_property(QD_OBJ_REF const& record, unsigned int property);
long signed_property(QD_OBJ_REF const& record, unsigned int property);
bool bool_property(QD_OBJ_REF const& record, unsigned int property);

// Of a number, what fits an unsigned 16-bit field of the catalogue.
constexpr unsigned short low_half_word(unsigned long number) {
  return static_cast<unsigned short>(number & 0xFFFF);
}

// The records of a catalogue index between two keys, both inclusive. Write the fields of both keys,
// open, and step. Keys of more than 1024 bytes raise 4197.
class scan {
 public:
  void open(unsigned long index_id);
  // Steps to the next record; false at the end.
  bool next() { return records.next(); }
  QD_OBJ_REF const& record() const { return records.current; }

 private:
  db_util::db_iter_with_keys records;

 public:
  db_util::KeyWriter<db_util::KeyBuf> first_key = records.write_first_key();
  db_util::KeyWriter<db_util::KeyBuf> last_key = records.write_last_key();
};

// The first record whose leading field is `number`, or the null reference.
QD_OBJ_REF find_by_number(unsigned long index_id, unsigned long number);

}  // namespace meta_data::catalogue
