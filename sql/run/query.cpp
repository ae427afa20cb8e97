#include "sql/run/query.h"

#include <algorithm>

#include "sql/run/texts.h"

namespace qd::sql {
namespace {

result_column describe(std::string name, physical_to_exec::ColumnTypeInfo const& type) {
  if (auto const* reference = std::get_if<physical_to_exec::RefInfo>(&type)) {
    return {std::move(name), kind::reference, to_utf8(reference->table_name)};
  }
  // The other alternatives stand in the order of the kinds.
  return {std::move(name), static_cast<kind>(type.index()), {}};
}

}  // namespace

query::query(algebra::bound_query bound, planning_context const& context) {
  std::vector<std::string> names;
  names.reserve(bound.outputs.size());
  for (algebra::output_column& output : bound.outputs) names.push_back(std::move(output.name));
  plan_ = physical_to_exec::Plan(plan(std::move(bound), context));
  columns_.reserve(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    columns_.push_back(describe(std::move(names[i]), plan_.column_types[i]));
  }
  context_.literals = plan_.literals;
}

void query::start(reader from, std::span<value const> parameters) {
  end();
  from_.emplace(std::move(from));
  context_.parameters.assign(parameters.begin(), parameters.end());
  context_.kernel_context = from_->context().context();
  if (open_transaction* const transaction = from_->transaction()) {
    transaction->queries.push_back(this);
  }
  try {
    enumeration_ = plan_.root->enumerate(context_);
  } catch (...) {
    end();
    throw;
  }
}

bool query::next(std::vector<value>& row) {
  from_->use_on_this_thread();
  try {
    std::optional<std::vector<value>> found = enumeration_->next(context_);
    if (!found) {
      end();
      return false;
    }
    row = std::move(*found);
    return true;
  } catch (...) {
    end();
    throw;
  }
}

void query::end() noexcept {
  if (!from_) return;
  enumeration_.reset();
  context_.bound_data.clear();
  if (open_transaction* const transaction = from_->transaction()) {
    std::erase(transaction->queries, this);
  }
  from_.reset();
}

}  // namespace qd::sql
