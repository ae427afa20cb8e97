// References between the kernel's form and the engine's.
#pragma once

#include "kernel/obj_ref.h"
#include "kernel/vela.h"

namespace db_util {

// The reference of a record that the kernel handed out.
inline QD_OBJ_REF reference_of(VELA_RECORD const& record) noexcept {
  return {record.oid, record.address << 16 | record.layout};
}

// The address word by which the kernel reads the object through another layout.
inline unsigned long address_with_layout(unsigned long address, unsigned short layout) noexcept {
  return (address & ~0xFFFFUL) | layout;
}

}  // namespace db_util
