#include "random/random_database.h"

#include <array>
#include <limits>

#include "support/kinds_database.h"

namespace random_plans {

using reference::kind;
using reference::value;

namespace {

kind kind_of(qd::embedded::column_type type) {
  using qd::embedded::column_type;
  switch (type) {
    case column_type::string:
      return reference::of_string;
    case column_type::binary:
      return reference::of_binary;
    case column_type::signed_integer:
      return reference::of_signed;
    case column_type::unsigned_integer:
      return reference::of_unsigned;
    case column_type::decimal:
      return reference::of_decimal;
    case column_type::single_float:
      return reference::of_float;
    case column_type::double_float:
      return reference::of_double;
    case column_type::reference:
      return reference::of_object;
    default:
      return reference::of_bool;
  }
}

// The columns of every class but for their records.
reference::database schema() {
  reference::database result;
  for (auto const& definition : kinds_database::classes()) {
    reference::class_of_objects next{definition.name, definition.base, {}, {}, {}};
    if (definition.base.empty()) {
      next.columns = {{u"$self", reference::of_object, {}, definition.name},
                      {u"$set_specifier", reference::of_set_specifier, {}},
                      {u"$class", reference::of_object, {}}};
    } else {
      next.columns = result.class_named(definition.base).columns;
    }
    for (auto const& column : definition.columns) {
      next.columns.push_back({column.name, kind_of(column.type), {}, column.referenced_class});
    }
    result.classes.push_back(std::move(next));
  }
  return result;
}

std::size_t position_of(reference::class_of_objects const& of, std::u16string const& name) {
  for (std::size_t i = 0; i < of.columns.size(); ++i) {
    if (of.columns[i].name == name) return i;
  }
  throw std::logic_error("the class has no such column");
}

qd::embedded::value to_stored(value const& source) {
  return std::visit(
      []<typename T>(T const& content) -> qd::embedded::value {
        if constexpr (std::is_same_v<T, reference::null_value>) {
          return {};
        } else if constexpr (std::is_same_v<T, reference::decimal>) {
          return qd::embedded::decimal{content.scaled};
        } else if constexpr (std::is_same_v<T, reference::binary>) {
          return qd::embedded::binary_view(content.bytes);
        } else if constexpr (std::is_same_v<T, reference::object>) {
          return qd::embedded::object_id{content.oid};
        } else if constexpr (std::is_same_v<T, reference::set_specifier>) {
          throw std::logic_error("set specifiers are not stored");
        } else {
          return content;
        }
      },
      source);
}

void insert_objects(choices& pick, qd::embedded::transaction& write, reference::database& model,
                    std::u16string const& class_name, std::uint32_t count) {
  reference::class_of_objects const& of = model.class_named(class_name);
  for (std::uint32_t i = 0; i < count; ++i) {
    reference::row columns(of.columns.size(), reference::null_value());
    std::vector<qd::embedded::column_value> stored;
    for (std::size_t column = 3; column < columns.size(); ++column) {
      if (pick.below(5) != 0) columns[column] = random_value(pick, of.columns[column].of, model);
      stored.push_back({of.columns[column].name, to_stored(columns[column])});
    }
    unsigned long const oid = write.insert(class_name, stored).oid;
    columns[0] = reference::object{oid};
    model.objects.push_back({oid, class_name, std::move(columns)});
  }
}

// What plans call classes, columns and indexes by, and what only the catalogue knows.
void read_catalogue(qd::embedded::read_context const& reader, reference::database& model) {
  for (reference::class_of_objects& each : model.classes) {
    meta_data::Table const table(reader.class_reference(each.name));
    each.record = table.ref;
    each.specifier = table.SetSpecifier();
    for (std::size_t i = 0; i < each.columns.size(); ++i) {
      each.columns[i].record = table.GetColumns().at(i).ref;
    }
    model.indexes.push_back({each.name + u".extent",
                             each.name,
                             reader.index_reference(each.name + u".extent"),
                             {{0, true}}});
  }
  for (auto const& definition : kinds_database::indexes()) {
    reference::index next{
        definition.name, definition.class_name, reader.index_reference(definition.name), {}};
    for (auto const& column : definition.columns) {
      next.columns.push_back(
          {position_of(model.class_named(definition.class_name), column.name), column.ascending});
    }
    model.indexes.push_back(std::move(next));
  }
  for (reference::stored_object& each : model.objects) {
    reference::class_of_objects const& of = model.class_named(each.class_name);
    each.columns[1] = reference::set_specifier{of.specifier};
    each.columns[2] = reference::object{of.record.oid};
  }
}

}  // namespace

random_database make_database(choices& pick) {
  auto storage = qd::embedded::database::open_temporary({.capacity_bytes = 1UL << 26});
  reference::database model = schema();
  auto write = storage.begin_write();
  kinds_database::define(write);
  insert_objects(pick, write, model, std::u16string(kinds_database::thing), pick.below(4));
  insert_objects(pick, write, model, std::u16string(kinds_database::special), 1 + pick.below(4));
  insert_objects(pick, write, model, std::u16string(kinds_database::thing), 1 + pick.below(3));
  insert_objects(pick, write, model, std::u16string(kinds_database::other), 1 + pick.below(6));
  write.commit();
  auto snapshot = storage.begin_snapshot();
  auto const binding = snapshot.bind();
  read_catalogue(snapshot, model);
  return {std::move(storage), std::move(model)};
}

value random_value(choices& pick, kind of, reference::database const& data) {
  using limits = std::numeric_limits<long>;
  bool const at_edge = pick.rarely(40);
  auto const small = [&] { return static_cast<long>(pick.below(6)); };
  switch (of) {
    case reference::of_bool:
      return pick.below(2) == 1;
    case reference::of_string: {
      static std::vector<std::u16string> const texts{u"a",          u"",
                                                     u"ab",         u"b",
                                                     u"abc",        u"B",
                                                     u"a%",         u"\u00e9",
                                                     u"z_",         u"a longer text than fits",
                                                     u"\U0001F600", u"a\U0001F600b"};
      return pick.one_of(texts);
    }
    case reference::of_unsigned: {
      static std::array<unsigned long, 4> const edges{~0UL, 1UL << 63, (1UL << 53) + 1, 1UL << 42};
      if (at_edge) return pick.one_of(edges);
      return static_cast<unsigned long>(small());
    }
    case reference::of_signed: {
      static std::array<long, 4> const edges{limits::max(), limits::min(), (1L << 53) + 1,
                                             1L << 42};
      if (at_edge) return pick.one_of(edges);
      return small() - 2;
    }
    case reference::of_decimal: {
      static std::array<long, 4> const edges{4'398'046'511'103'999'999, -4'398'046'511'103'999'999,
                                             1, -500'000};
      if (at_edge) return reference::decimal{pick.one_of(edges)};
      // Millionths make halves to be rounded.
      if (pick.rarely(8)) return reference::decimal{2 * small() - 5};
      return reference::decimal{(small() - 2) * 500'000};
    }
    case reference::of_double: {
      static std::array<double, 7> const edges{std::numeric_limits<double>::quiet_NaN(),
                                               std::numeric_limits<double>::infinity(),
                                               -0.0,
                                               9223372036854775808.0,
                                               1e19,
                                               0.1,
                                               -std::numeric_limits<double>::infinity()};
      if (at_edge) return pick.one_of(edges);
      return static_cast<double>(small() - 2) / 2;
    }
    case reference::of_float: {
      static std::array<float, 5> const edges{std::numeric_limits<float>::quiet_NaN(),
                                              std::numeric_limits<float>::infinity(), -0.0f, 1e19f,
                                              0.1f};
      if (at_edge) return pick.one_of(edges);
      return static_cast<float>(small() - 2) / 2;
    }
    case reference::of_binary: {
      static std::vector<std::vector<unsigned char>> const runs{
          {1}, {}, {1, 2}, {0}, {255}, std::vector<unsigned char>(40, 7)};
      return reference::binary{pick.one_of(runs)};
    }
    case reference::of_object: {
      std::vector<unsigned long> things;
      for (auto const& each : data.objects) {
        if (each.class_name != kinds_database::other) things.push_back(each.oid);
      }
      if (things.empty()) return reference::null_value();
      return reference::object{pick.one_of(things)};
    }
    case reference::of_set_specifier:
      return reference::set_specifier{pick.one_of(data.classes).specifier};
    default:
      return reference::null_value();
  }
}

namespace {

// The engine's counterpart of each kind.
auto engine_content(bool content) {
  return content;
}
auto engine_content(std::u16string const& content) {
  return db_string::dt_string(content, false);
}
auto engine_content(unsigned long content) {
  return content;
}
auto engine_content(long content) {
  return content;
}
auto engine_content(double content) {
  return content;
}
auto engine_content(float content) {
  return content;
}
auto engine_content(reference::decimal content) {
  return operator_library::Decimal{content.scaled};
}
auto engine_content(reference::binary const& content) {
  return operator_library::Binary{content.bytes};
}
auto engine_content(reference::object content) {
  return QD_OBJ_REF{content.oid, 0};
}
auto engine_content(reference::set_specifier const& content) {
  return operator_library::SetSpecifier{content.text};
}
auto engine_content(reference::null_value) {
  return operator_library::NullValue();
}

}  // namespace

qd::sql_executor::value to_engine(value const& source) {
  return std::visit(
      [](auto const& content) -> qd::sql_executor::value { return engine_content(content); },
      source);
}

physical_queryplan::QueryPlan::Expression to_literal(value const& source) {
  return std::visit(
      [](auto const& content) -> physical_queryplan::QueryPlan::Expression {
        return physical_queryplan::QueryPlan::Constant(engine_content(content));
      },
      source);
}

}  // namespace random_plans
