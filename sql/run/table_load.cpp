#include "sql/run/table_load.h"

namespace qd::sql {
namespace {

// A value of the kernel's interface as one of the engine's.
struct engine_value {
  value operator()(std::monostate) const { return operator_library::NullValue(); }
  value operator()(bool truth) const { return truth; }
  value operator()(std::uint64_t number) const { return number; }
  value operator()(std::int64_t number) const { return number; }
  value operator()(embedded::decimal number) const {
    return operator_library::Decimal{number.scaled};
  }
  value operator()(float number) const { return number; }
  value operator()(double number) const { return number; }
  value operator()(std::u16string_view text) const {
    return db_string::dt_string(std::u16string(text), false);
  }
  value operator()(embedded::binary_view bytes) const {
    return operator_library::Binary{{bytes.begin(), bytes.end()}};
  }
  value operator()(embedded::object_id object) const { return QD_OBJ_REF{object.oid, 0}; }
};

}  // namespace

void loaded_rows::take_back(embedded::transaction& kernel) {
  if (open) {
    open->abandon();
    return;
  }
  lines.for_each_object([&](embedded::object_id object) {
    if (gone.count(object.oid) == 0) kernel.erase(object);
  });
}

table_load::table_load(run_context& run, table_info const& table, std::vector<std::size_t> columns,
                       csv_format const& format, refusals& refused)
    : run_(run),
      refused_(refused),
      references_(run, table),
      loaded_(std::make_shared<loaded_rows>()) {
  column_converter const names(table, columns);
  for (std::size_t const number : columns) {
    column_info const& column = table.columns[number];
    bool const by_key = column.type == embedded::column_type::reference;
    embedded::column_type const type = by_key ? references_.key_column(column).type : column.type;
    ways_.push_back({&column, by_key, field_converter(type, format)});
  }
  values_.resize(columns.size());
  run.undo.emplace_back([kernel = &run.kernel(), loaded = loaded_] { loaded->take_back(*kernel); });
  loaded_->open.emplace(run.kernel().prepare_bulk_insert(table.class_name, names.kernel_names()));
}

void table_load::add(std::span<csv_field const> fields, std::uint64_t line) {
  if (!convert(fields, line) || !inserting_) return;
  embedded::object_id object;
  try {
    object = loaded_->open->insert(values_);
  } catch (embedded::error const& failed) {
    using embedded::error_kind;
    bool const of_the_row = failed.kind() == error_kind::null_value ||
                            failed.kind() == error_kind::out_of_range ||
                            failed.kind() == error_kind::bad_reference;
    if (!of_the_row) throw;
    refused_.add(line, {}, {}, failed.what());
    return;
  }
  loaded_->lines.note(object, line);
  ++rows_;
  for (auto& [position, key] : waiting_) {
    references_.resolve_later(object, *ways_[position].column, std::move(key));
  }
}

// Fills values_ and waiting_; false when the record is refused.
bool table_load::convert(std::span<csv_field const> fields, std::uint64_t line) {
  waiting_.clear();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    field_way& way = ways_[i];
    std::string_view reason = way.converter.convert(fields[i], values_[i]);
    std::string lookup_reason;
    if (reason.empty() && values_[i].is_null() && !way.column->nullable) {
      reason = "the column must have a value: it is NOT NULL";
    }
    if (reason.empty() && way.by_key && !values_[i].is_null()) {
      value key = std::visit(engine_value(), values_[i].content());
      if (auto found = references_.resolve(*way.column, key)) {
        lookup_reason = std::move(found->refusal);
        reason = lookup_reason;
        values_[i] = found->object;
      } else {
        values_[i] = references_.placeholder(*way.column);
        waiting_.emplace_back(i, std::move(key));
      }
    }
    if (!reason.empty()) {
      refused_.add(line, way.column->name, fields[i].text, std::string(reason));
      return false;
    }
  }
  return true;
}

void table_load::finish() {
  // A bulk insert that fails at its end cannot be taken back alone.
  run_.irrevocable = true;
  std::vector<embedded::duplicate_row> const duplicates = loaded_->open->finish();
  loaded_->open.reset();
  run_.irrevocable = false;
  for (embedded::duplicate_row const& each : duplicates) {
    loaded_->gone.insert(each.refused.oid);
    refused_.add(loaded_->lines.line_of(each.refused), {}, {}, each.text);
  }
  auto const refuse = [&](embedded::object_id object, column_info const& column, value const& key,
                          std::string reason) {
    refused_.add(loaded_->lines.line_of(object), column.name, display_text(key), std::move(reason));
  };
  references_.finish_without_refused(loaded_->gone, refuse);
  rows_ -= loaded_->gone.size();
}

}  // namespace qd::sql
