// Reads through the kernel's C functions alone, as the engine does: keys and statuses by hand.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "dbmetalayer/database.h"
#include "kernel/vela.h"

namespace qd::embedded {

class raw_key {
 public:
  raw_key& null() { return bytes({0x60}); }
  raw_key& number(unsigned long number) {
    bytes({0x28});
    for (int shift = 56; shift >= 0; shift -= 8)
      bytes({static_cast<unsigned char>(number >> shift)});
    return *this;
  }
  raw_key& text(std::u16string const& text, bool infinite = false) {
    std::vector<unsigned char> packed(
        vela_convert_ucs2_to_densetext(text.c_str(), infinite, nullptr, 0));
    vela_convert_ucs2_to_densetext(text.c_str(), infinite, packed.data(), packed.size());
    // One header byte, then pieces of 31.
    for (std::size_t at = 1; at == 1 || at < packed.size(); at += 31) {
      std::size_t const piece = std::min<std::size_t>(31, packed.size() - at);
      bytes({static_cast<unsigned char>(piece + (at == 1 ? 0x20 : 0))});
      bytes_.insert(bytes_.end(), packed.begin() + at, packed.begin() + at + piece);
    }
    return bytes({0x80});
  }
  std::vector<unsigned char> end() const {
    std::vector<unsigned char> key = bytes_;
    key.push_back(0xC0);
    key.resize((key.size() + 7) / 8 * 8);
    return key;
  }

 private:
  raw_key& bytes(std::initializer_list<unsigned char> more) {
    bytes_.insert(bytes_.end(), more);
    return *this;
  }

  std::vector<unsigned char> bytes_;
};

// A kernel context. A failing status fails the test.
struct raw_reader {
  unsigned long context;

  std::vector<QD_OBJ_REF> scan(unsigned long index, raw_key const& first, raw_key const& last,
                               unsigned flags = 0x70) const {
    std::vector<QD_OBJ_REF> found;
    unsigned long iterator = 0;
    unsigned const opened = vela_context_create_iterator(context, index, flags, first.end().data(),
                                                         last.end().data(), &iterator);
    EXPECT_EQ(opened, 0u);
    if (opened != 0) return found;
    VELA_RECORD record{};
    for (;;) {
      unsigned const stepped = vela_iterator_next(iterator, &record);
      EXPECT_EQ(stepped, 0u);
      if (stepped != 0 || record.oid == 0) break;
      found.push_back({record.oid, record.address << 16 | record.layout});
    }
    EXPECT_EQ(vela_iterator_free(iterator), 0u);
    return found;
  }
  std::vector<QD_OBJ_REF> scan(unsigned long index, raw_key const& both) const {
    return scan(index, both, both);
  }

  // Empty for NULL.
  std::optional<std::u16string> text(QD_OBJ_REF const& object, unsigned column) const {
    VELA_UCS2 const* out = nullptr;
    if (!good(vela_context_get_string(context, object.oid, object.address, column, &out)))
      return {};
    return std::u16string(out->units, out->count);
  }
  std::optional<unsigned long> number(QD_OBJ_REF const& object, unsigned column) const {
    unsigned long out = 0;
    if (!good(vela_context_get_ulong(context, object.oid, object.address, column, &out))) return {};
    return out;
  }
  std::optional<long> signed_number(QD_OBJ_REF const& object, unsigned column) const {
    long out = 0;
    if (!good(vela_context_get_long(context, object.oid, object.address, column, &out))) return {};
    return out;
  }
  std::optional<long> scaled(QD_OBJ_REF const& object, unsigned column) const {
    long out = 0;
    if (!good(vela_context_get_decimal(context, object.oid, object.address, column, &out)))
      return {};
    return out;
  }
  std::optional<bool> truth(QD_OBJ_REF const& object, unsigned column) const {
    unsigned long out = 0;
    if (!good(vela_meta_get_bool(context, object.oid, object.address, column, &out))) return {};
    return out != 0;
  }
  // The null reference for NULL.
  QD_OBJ_REF reference(QD_OBJ_REF const& object, unsigned column) const {
    VELA_RECORD out{};
    if (!good(vela_context_get_reference(context, object.oid, object.address, column, &out)))
      return {};
    return {out.oid, out.address << 16 | out.layout};
  }
  std::u16string set_specifier(QD_OBJ_REF const& object) const {
    VELA_UCS2 const* out = nullptr;
    EXPECT_EQ(vela_context_get_setspec(context, object.oid, object.address, &out), 0u);
    return out ? std::u16string(out->units, out->count) : std::u16string();
  }
  QD_OBJ_REF object(object_id id) const {
    unsigned long address = 0;
    EXPECT_EQ(vela_context_lookup(context, id.oid, &address), 0u);
    return {id.oid, address};
  }

  // Kernel id of an index, by its catalogue record.
  unsigned long kernel_id(QD_OBJ_REF const& index) const { return number(index, 6).value_or(0); }
  // All objects of a class, derived ones included.
  std::vector<QD_OBJ_REF> extent(read_context const& names,
                                 std::u16string const& class_name) const {
    return scan(kernel_id(names.index_reference(class_name + u".extent")), raw_key().null(),
                raw_key().number(~0ul));
  }

 private:
  static bool good(unsigned status) {
    EXPECT_TRUE(status == 0 || status == VELA_STATUS_NULL) << status;
    return status == 0;
  }
};

inline std::vector<std::uint64_t> oids(std::vector<QD_OBJ_REF> const& objects) {
  std::vector<std::uint64_t> result;
  for (QD_OBJ_REF const& object : objects) result.push_back(object.oid);
  return result;
}

}  // namespace qd::embedded
