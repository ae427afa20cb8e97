// The database kernel's functions, as the engine calls them. They are defined by whatever kernel
// the program is linked with (libqdcoredb); nothing here depends on which one that is.
//
// Every function with a status returns 0 for success. Buffers that a function hands out belong to
// the kernel and hold until the next kernel call with the same context handle: copy them, or use them up, before that.
//
// Context handles, iterators and object addresses are opaque words. An object reference goes to the
// kernel as `oid` and `address` (QD_OBJ_REF's words); the low 16 bits of `address` are the id of
// the layout through which the caller wants to read the object.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Bytes on loan from the kernel.
struct VELA_VALUE {
  unsigned long size;
  unsigned char const* data;
};

// A reference as the kernel reports it; object id 0 means none.
struct VELA_RECORD {
  unsigned long oid;
  unsigned long address;  // 48 significant bits.
  unsigned short layout;
};

// A counted run of bytes; `bytes` has `count` elements.
struct VELA_BYTES {
  unsigned int count;
  unsigned char bytes[1];
};

// A counted run of UTF-16 units; `units` has `count` elements and a zero unit after them.
struct VELA_UCS2 {
  unsigned int count;
  char16_t units[1];
};

// The status by which a getter says that the column holds NULL.
enum { VELA_STATUS_NULL = 4272 };

// Flags of vela_context_create_iterator.
enum {
  VELA_ITERATE_FIRST_INCLUSIVE = 0x10,
  VELA_ITERATE_LAST_INCLUSIVE = 0x20,
  VELA_ITERATE_CATALOGUE = 0x70,  // Both ends inclusive, on a catalogue index.
  VELA_ITERATE_DESCENDING = 0x80000,
};

// Opens an iterator over the keys from `first` to `last` of an index (docs/key-format.md). The keys
// carry no length, they end at their 0xC0 byte, and are read during the call only. With
// VELA_ITERATE_DESCENDING the walk goes downwards and `first` is the upper key. On a status other
// than 0 there is no iterator to free.
unsigned int vela_context_create_iterator(unsigned long context, unsigned long index_id,
                                          unsigned int flags, unsigned char const* first,
                                          unsigned char const* last, unsigned long* iterator);
// Steps to the next object; at the end, and at every later call, `record->oid` is 0.
unsigned int vela_iterator_next(unsigned long iterator, VELA_RECORD* record);
unsigned int vela_iterator_free(unsigned long iterator);

// Column reads. VELA_STATUS_NULL: the column holds NULL and `out` is unchanged, apart from
// vela_context_get_string, which then stores a null pointer.
unsigned int vela_context_get_ulong(unsigned long context, unsigned long oid, unsigned long address,
                                    unsigned int column, unsigned long* out);
unsigned int vela_context_get_long(unsigned long context, unsigned long oid, unsigned long address,
                                   unsigned int column, long* out);
// The Decimal times 1,000,000.
unsigned int vela_context_get_decimal(unsigned long context, unsigned long oid,
                                      unsigned long address, unsigned int column, long* out);
unsigned int vela_context_get_float(unsigned long context, unsigned long oid, unsigned long address,
                                    unsigned int column, float* out);
unsigned int vela_context_get_double(unsigned long context, unsigned long oid,
                                     unsigned long address, unsigned int column, double* out);
// Bytes of a binary column, or the stored densetext of a string column.
unsigned int vela_context_get_binary(unsigned long context, unsigned long oid,
                                     unsigned long address, unsigned int column, VELA_VALUE* out);
unsigned int vela_context_get_string(unsigned long context, unsigned long oid,
                                     unsigned long address, unsigned int column,
                                     VELA_UCS2 const** out);
unsigned int vela_context_get_reference(unsigned long context, unsigned long oid,
                                        unsigned long address, unsigned int column,
                                        VELA_RECORD* out);
// Non-zero is true.
unsigned int vela_meta_get_bool(unsigned long context, unsigned long oid, unsigned long address,
                                unsigned int column, unsigned long* out);
// The set specifier of the object's own class.
unsigned int vela_context_get_setspec(unsigned long context, unsigned long oid,
                                      unsigned long address, VELA_UCS2 const** out);
// The present address word of an object, in the form of QD_OBJ_REF::address.
unsigned int vela_context_lookup(unsigned long context, unsigned long oid, unsigned long* address);

// Text conversions through a context. `text` ends at its first zero unit. `infinite` asks for the
// value above every text that begins with `text` and below every other greater text.
unsigned int vela_context_convert_ucs2_to_densetext(unsigned long context, char16_t const* text,
                                                    bool infinite, VELA_BYTES const** out);
unsigned int vela_context_convert_ucs2_to_setspecdt(unsigned long context, char16_t const* text,
                                                    bool infinite, VELA_BYTES const** out);
unsigned int vela_context_convert_densetext_to_ucs2(unsigned long context,
                                                    unsigned char const* bytes, unsigned long count,
                                                    VELA_UCS2 const** out);
// The base form of a text, for pattern matching and names.
unsigned int vela_context_convert_densetext_to_base_ucs2(unsigned long context,
                                                         unsigned char const* bytes,
                                                         unsigned long count,
                                                         VELA_UCS2 const** out);

// Text conversions into the caller's buffer, without a context. Each returns the size that the
// result needs and writes at most `capacity`; call first with (null, 0).
unsigned int vela_convert_ucs2_to_densetext(char16_t const* text, bool infinite,
                                            unsigned char* buffer, unsigned long capacity);
unsigned int vela_convert_ucs2_to_setspecdt(char16_t const* text, bool infinite,
                                            unsigned char* buffer, unsigned long capacity);
// Units of the text, without the zero unit that is written after them; the second call passes a
// capacity of that many units and one more. Callers take the absolute value.
int vela_convert_densetext_to_ucs2(unsigned char const* bytes, unsigned int count, char16_t* buffer,
                                   unsigned int capacity_units);
int vela_convert_densetext_to_base_ucs2(unsigned char const* bytes, unsigned int count,
                                        char16_t* buffer, unsigned int capacity_units);

#ifdef __cplusplus
}
#endif
