// Fields of a catalogue record, column by column from the first that is not a system column.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "coredb/field.h"
#include "coredb/text_codec.h"

namespace qd::embedded {

class record_builder {
 public:
  record_builder& text(std::u16string_view text) {
    densetexts_.push_back(coredb::to_densetext(text));
    std::string const& stored = densetexts_.back();
    fields_.push_back(coredb::field::of_string(
        {reinterpret_cast<unsigned char const*>(stored.data()), stored.size()}));
    return *this;
  }
  // NULL for the empty text.
  record_builder& optional_text(std::u16string_view text) {
    if (!text.empty()) return this->text(text);
    fields_.push_back(coredb::field::of_null(coredb::column_kind::string));
    return *this;
  }
  record_builder& number(std::uint64_t number) {
    fields_.push_back(coredb::field::of_unsigned(number));
    return *this;
  }
  record_builder& signed_number(std::int64_t number) {
    fields_.push_back(coredb::field::of_signed(number));
    return *this;
  }
  record_builder& truth(bool truth) {
    fields_.push_back(coredb::field::of_bool(truth));
    return *this;
  }
  // 0 is the null reference.
  record_builder& reference(std::uint64_t oid) {
    fields_.push_back(oid == 0 ? coredb::field::of_null(coredb::column_kind::reference)
                               : coredb::field::of_reference(oid));
    return *this;
  }

  std::span<coredb::field const> fields() const { return fields_; }

 private:
  std::deque<std::string> densetexts_;  // A deque, so that the fields' bytes stay in place.
  std::vector<coredb::field> fields_;
};

}  // namespace qd::embedded
