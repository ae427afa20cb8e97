#include "dbmetalayer/row_encoder.h"

#include <algorithm>
#include <utility>

#include "coredb/text_codec.h"
#include "dbmetalayer/names.h"

namespace qd::embedded {
namespace {

constexpr std::int64_t greatest_decimal = 4'398'046'511'103'999'999;

// The value's alternative, or null.
template <class Alternative>
Alternative const* get(value const& given) {
  return std::get_if<Alternative>(&given.content());
}

}  // namespace

coredb::column_kind kind_of(column_type type) {
  switch (type) {
    case column_type::string:
      return coredb::column_kind::string;
    case column_type::binary:
      return coredb::column_kind::binary;
    case column_type::signed_integer:
      return coredb::column_kind::signed_integer;
    case column_type::unsigned_integer:
      return coredb::column_kind::unsigned_integer;
    case column_type::decimal:
      return coredb::column_kind::decimal;
    case column_type::single_float:
      return coredb::column_kind::single_float;
    case column_type::double_float:
      return coredb::column_kind::double_float;
    case column_type::reference:
      return coredb::column_kind::reference;
    case column_type::boolean:
      return coredb::column_kind::boolean;
  }
  throw error(error_kind::bad_definition,
              "there is no column type " + std::to_string(static_cast<int>(type)));
}

row_encoder::row_encoder(class_info const& of_class, std::vector<std::size_t> positions,
                         reference_checker& references)
    : class_(of_class), positions_(std::move(positions)), references_(references) {
  std::vector<bool> given(class_.columns.size());
  for (std::size_t const position : positions_) {
    column_info const& column = class_.columns[position];
    if (position < system_columns) {
      throw error(error_kind::bad_definition, "class " + to_utf8(class_.name) + ", column " +
                                                  to_utf8(column.name) +
                                                  ": system columns are not written");
    }
    if (given[position]) {
      throw error(error_kind::bad_definition, "class " + to_utf8(class_.name) + ", column " +
                                                  to_utf8(column.name) + " is given twice");
    }
    given[position] = true;
  }
}

void row_encoder::require_all_values() const {
  for (std::size_t position = system_columns; position < class_.columns.size(); ++position) {
    column_info const& column = class_.columns[position];
    if (column.nullable) continue;
    if (std::find(positions_.begin(), positions_.end(), position) == positions_.end()) {
      refuse(error_kind::null_value, class_, column, null, "the column must have a value");
    }
  }
}

std::span<coredb::field const> row_encoder::encode_object(std::span<value const> row) {
  if (fields_.empty()) {
    fields_.reserve(class_.columns.size() - system_columns);
    for (column_info const& column : std::span(class_.columns).subspan(system_columns)) {
      fields_.push_back(coredb::field::of_null(kind_of(column.type)));
    }
  }
  reserve_texts(row);
  for (std::size_t i = 0; i < row.size(); ++i) {
    std::size_t const position = positions_[i];
    fields_[position - system_columns] = encode(class_.columns[position], row[i]);
  }
  return fields_;
}

std::span<coredb::field_change const> row_encoder::encode_changes(std::span<value const> row) {
  reserve_texts(row);
  changes_.resize(row.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    std::size_t const position = positions_[i];
    changes_[i] = {static_cast<unsigned>(position), encode(class_.columns[position], row[i])};
  }
  return changes_;
}

// Makes room for the densetexts of a row, so that they stay in place while the row is encoded.
void row_encoder::reserve_texts(std::span<value const> row) {
  if (row.size() != positions_.size()) {
    throw error(error_kind::bad_definition, "class " + to_utf8(class_.name) + ": a row of " +
                                                std::to_string(row.size()) + " values for " +
                                                std::to_string(positions_.size()) + " columns");
  }
  std::size_t needed = 0;
  for (value const& given : row) {
    if (auto const* text = get<std::u16string_view>(given)) {
      needed += coredb::densetext_capacity(text->size());
    }
  }
  texts_used_ = 0;
  if (texts_.size() < needed) texts_.resize(needed);
}

coredb::field row_encoder::encode(column_info const& column, value const& given) {
  if (given.is_null()) {
    if (!column.nullable) {
      refuse(error_kind::null_value, class_, column, given, "the column must have a value");
    }
    return coredb::field::of_null(kind_of(column.type));
  }
  switch (column.type) {
    case column_type::string:
      if (auto const* text = get<std::u16string_view>(given)) {
        unsigned char* const place = texts_.data() + texts_used_;
        std::size_t const size =
            coredb::encode_text(*text, false, place, texts_.size() - texts_used_);
        texts_used_ += size;
        return coredb::field::of_string({place, size});
      }
      break;
    case column_type::binary:
      if (auto const* bytes = get<binary_view>(given)) return coredb::field::of_binary(*bytes);
      break;
    case column_type::signed_integer:
      if (auto const* number = get<std::int64_t>(given)) return coredb::field::of_signed(*number);
      if (auto const* number = get<std::uint64_t>(given)) {
        if (!std::in_range<std::int64_t>(*number)) {
          refuse(error_kind::out_of_range, class_, column, given,
                 "the column holds signed integers up to 9223372036854775807");
        }
        return coredb::field::of_signed(static_cast<std::int64_t>(*number));
      }
      break;
    case column_type::unsigned_integer:
      if (auto const* number = get<std::uint64_t>(given)) {
        return coredb::field::of_unsigned(*number);
      }
      if (auto const* number = get<std::int64_t>(given)) {
        if (*number < 0) {
          refuse(error_kind::out_of_range, class_, column, given,
                 "the column holds unsigned integers");
        }
        return coredb::field::of_unsigned(static_cast<std::uint64_t>(*number));
      }
      break;
    case column_type::decimal:
      if (auto const* number = get<decimal>(given)) {
        if (number->scaled > greatest_decimal || number->scaled < -greatest_decimal) {
          refuse(error_kind::out_of_range, class_, column, given,
                 "decimals lie between -4398046511103.999999 and 4398046511103.999999");
        }
        return coredb::field::of_decimal(number->scaled);
      }
      break;
    case column_type::single_float:
      if (auto const* number = get<float>(given)) return coredb::field::of_float(*number);
      break;
    case column_type::double_float:
      if (auto const* number = get<double>(given)) return coredb::field::of_double(*number);
      break;
    case column_type::boolean:
      if (auto const* truth = get<bool>(given)) return coredb::field::of_bool(*truth);
      break;
    case column_type::reference:
      if (auto const* object = get<object_id>(given)) {
        using answer = reference_checker::answer;
        switch (references_.check(object->oid, column.referenced_layout)) {
          case answer::fits:
            return coredb::field::of_reference(object->oid);
          case answer::no_object:
            refuse(error_kind::bad_reference, class_, column, given, "there is no such object");
          case answer::other_class:
            refuse(error_kind::bad_reference, class_, column, given,
                   "the object is not of class " + to_utf8(column.referenced_class));
        }
      }
      break;
  }
  refuse(error_kind::wrong_type, class_, column, given,
         "the column's type is " + std::string(to_string(column.type)));
}

}  // namespace qd::embedded
