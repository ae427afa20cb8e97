// Index keys for reading the catalogue, in the format that vela_context_create_iterator takes.
#pragma once

#include <cstdint>
#include <string_view>

#include "coredb/index_key.h"
#include "coredb/text_codec.h"

namespace qd::embedded {

// Built by a chain of calls, one per leading column of the index, ended by `end`.
class catalogue_key {
 public:
  catalogue_key& null() {
    key_.push_back(0x60);
    return *this;
  }

  catalogue_key& number(std::uint64_t number) {
    unsigned char field[9] = {0x28};
    for (int i = 0; i < 8; ++i) field[1 + i] = static_cast<unsigned char>(number >> (56 - 8 * i));
    key_.append(field, sizeof field);
    return *this;
  }

  // With `infinite`, above every text that begins with `text`.
  catalogue_key& text(std::u16string_view text, bool infinite = false) {
    std::string const densetext = coredb::to_densetext(text, infinite);
    auto const* const bytes = reinterpret_cast<unsigned char const*>(densetext.data());
    coredb::text_payload const payload = coredb::payload_of(bytes, densetext.size());
    // Pieces of at most 31 bytes behind their length; the first length has 0x20 added.
    std::size_t position = 0;
    do {
      std::size_t const piece = std::min<std::size_t>(payload.size - position, 31);
      key_.push_back(static_cast<unsigned char>(piece + (position == 0 ? 0x20 : 0)));
      key_.append(payload.data + position, piece);
      position += piece;
    } while (position < payload.size);
    key_.push_back(0x80);
    return *this;
  }

  catalogue_key& end() {
    key_.push_back(0xC0);
    return *this;
  }

  unsigned char const* data() const { return key_.data(); }

 private:
  coredb::key_buffer key_;
};

}  // namespace qd::embedded
