// Numbers in stored bytes, which have no alignment.
#pragma once

#include <cstdint>
#include <cstring>

namespace qd::coredb {

template <typename T>
T get(unsigned char const* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <typename T>
void put(unsigned char* bytes, T value) {
  std::memcpy(bytes, &value, sizeof value);
}

// Most significant byte first: byte order is then number order.
inline std::uint64_t get_big_endian(unsigned char const* bytes) {
  return __builtin_bswap64(get<std::uint64_t>(bytes));
}

inline void put_big_endian(unsigned char* bytes, std::uint64_t value) {
  value = __builtin_bswap64(value);
  std::memcpy(bytes, &value, sizeof value);
}

}  // namespace qd::coredb
