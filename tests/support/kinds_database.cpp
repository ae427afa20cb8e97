#include "support/kinds_database.h"

namespace kinds_database {

using qd::embedded::class_definition;
using qd::embedded::column_type;
using qd::embedded::index_definition;

std::vector<class_definition> const& classes() {
  static std::vector<class_definition> const all{
      {.name = std::u16string(thing),
       .columns = {{.name = u"flag", .type = column_type::boolean},
                   {.name = u"name", .type = column_type::string},
                   {.name = u"count", .type = column_type::unsigned_integer},
                   {.name = u"level", .type = column_type::signed_integer},
                   {.name = u"price", .type = column_type::decimal},
                   {.name = u"weight", .type = column_type::double_float},
                   {.name = u"ratio", .type = column_type::single_float},
                   {.name = u"blob", .type = column_type::binary},
                   {.name = u"link",
                    .type = column_type::reference,
                    .referenced_class = std::u16string(thing)}}},
      {.name = std::u16string(special),
       .base = std::u16string(thing),
       .columns = {{.name = u"extra", .type = column_type::signed_integer},
                   {.name = u"note", .type = column_type::string}}},
      {.name = std::u16string(other),
       .columns = {{.name = u"level", .type = column_type::signed_integer},
                   {.name = u"name", .type = column_type::string},
                   {.name = u"target",
                    .type = column_type::reference,
                    .referenced_class = std::u16string(thing)}}}};
  return all;
}

std::vector<index_definition> const& indexes() {
  static std::vector<index_definition> const all{
      {.name = u"kinds.Thing.by_level",
       .class_name = std::u16string(thing),
       .columns = {{.name = u"level"}}},
      {.name = u"kinds.Thing.by_name",
       .class_name = std::u16string(thing),
       .columns = {{.name = u"name"}, {.name = u"level", .ascending = false}}},
      {.name = u"kinds.Thing.by_price",
       .class_name = std::u16string(thing),
       .columns = {{.name = u"price", .ascending = false}, {.name = u"count"}}},
      {.name = u"kinds.Thing.by_flag",
       .class_name = std::u16string(thing),
       .columns = {{.name = u"flag"},
                   {.name = u"name", .ascending = false},
                   {.name = u"count", .ascending = false}}},
      {.name = u"kinds.Thing.by_blob",
       .class_name = std::u16string(thing),
       .columns = {{.name = u"blob"}, {.name = u"flag", .ascending = false}}},
      {.name = u"kinds.Thing.by_link",
       .class_name = std::u16string(thing),
       .columns = {{.name = u"link"}}},
      {.name = u"kinds.Thing.by_class",
       .class_name = std::u16string(thing),
       .columns = {{.name = std::u16string(qd::embedded::set_specifier_name), .ascending = false},
                   {.name = u"price"}}},
      {.name = u"kinds.Special.by_note",
       .class_name = std::u16string(special),
       .columns = {{.name = u"note", .ascending = false}, {.name = u"extra"}}},
      {.name = u"kinds.Other.by_level",
       .class_name = std::u16string(other),
       .columns = {{.name = u"level", .ascending = false}, {.name = u"name"}}},
      {.name = u"kinds.Other.by_target",
       .class_name = std::u16string(other),
       .columns = {{.name = u"target"}}}};
  return all;
}

void define(qd::embedded::transaction& write) {
  for (class_definition const& definition : classes()) write.define_class(definition);
  for (index_definition const& definition : indexes()) write.define_index(definition);
}

}  // namespace kinds_database
