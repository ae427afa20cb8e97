// Values of queries as values of columns.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "dbmetalayer/value.h"
#include "sql/catalogue/catalogue.h"
#include "sql/connection.h"

namespace qd::sql {

// Converts rows for some columns of a table, without loss: integers and Decimals go to every numeric
// kind that holds them, to floating kinds as the nearest number; floating numbers go to the other
// floating kind as the nearest, and to integers when they are integral. Nothing else changes its
// kind.
class column_converter {
 public:
  column_converter(table_info const& table, std::vector<std::size_t> columns);

  std::vector<std::size_t> const& columns() const { return columns_; }
  column_info const& column(std::size_t position) const {
    return table_.columns[columns_[position]];
  }

  // The column's name as the kernel takes it.
  std::u16string const& kernel_name(std::size_t position) const { return names_[position]; }
  std::vector<std::u16string_view> kernel_names() const { return {names_.begin(), names_.end()}; }

  // The value for column number `position` of `columns`. Views into it hold until the next value of
  // that column, and as long as `content` does. Throws sql::error, which names the column.
  embedded::value convert(std::size_t position, value const& content);

 private:
  table_info const& table_;
  std::vector<std::size_t> columns_;
  // By position.
  std::vector<std::u16string> names_;
  std::vector<std::u16string> texts_;
};

// A number as the kind of another column, where it has an equal; empty where it has none. What is
// no number, or of that kind already, comes back as it is.
std::optional<value> exactly_as(kind target, value const& content);

// A value for messages: cut short, texts in quotes.
std::string shown(value const& content);

}  // namespace qd::sql
