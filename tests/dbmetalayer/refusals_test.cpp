// What is refused, with which text, and that the transaction goes on as it was.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "dbmetalayer/database.h"
#include "raw_reader.h"

namespace qd::embedded {
namespace {

struct refusal {
  error_kind kind;
  std::string text;
};

refusal refused(std::function<void()> const& action) {
  try {
    action();
  } catch (error const& fault) {
    return {fault.kind(), fault.what()};
  }
  return {error_kind::storage, "nothing was refused"};
}

class Refusals : public testing::Test {
 protected:
  Refusals() {
    write.define_classes(std::vector<class_definition>{
        {.name = u"hr.Person",
         .columns = {{u"name", column_type::string, false},
                     {u"age", column_type::unsigned_integer},
                     {u"score", column_type::signed_integer},
                     {u"pay", column_type::decimal},
                     {u"boss", column_type::reference, true, u"hr.Boss"}}},
        {.name = u"hr.Boss", .base = u"hr.Person"},
        {.name = u"hr.\u00DC\U0001F600", .columns = {{u"\u00E9", column_type::boolean}}}});
    write.define_index({.name = u"hr.Person.unique",
                        .class_name = u"hr.Person",
                        .columns = {{u"name"}, {u"age", false}, {u"pay"}},
                        .unique = true});
    ada =
        write.insert(u"hr.Person", {{u"name", u"Ada"}, {u"age", 36}, {u"pay", decimal{1'500'000}}});
    gone = write.insert(u"hr.Boss", {{u"name", u"gone"}});
    write.erase(gone);
  }

  struct row {
    error_kind kind;
    std::string text;
    std::function<void()> action;
  };
  void check(std::vector<row> const& rows) {
    auto const objects = read.extent(write, u"catalogue.Object");
    for (row const& row : rows) {
      refusal const result = refused(row.action);
      EXPECT_EQ(result.text, row.text);
      EXPECT_EQ(result.kind, row.kind) << row.text;
      EXPECT_EQ(read.extent(write, u"catalogue.Object"), objects) << row.text;
    }
    write.insert(u"hr.Boss", {{u"name", u"Eve"}});
    write.commit();
    EXPECT_TRUE(data.begin_snapshot().has_class(u"hr.Boss"));
  }

  std::string id(object_id object) const { return std::to_string(object.oid); }

  database data = database::open_temporary();
  transaction write = data.begin_write();
  raw_reader read{write.context()};
  object_id ada, gone;
};

TEST_F(Refusals, OfObjects) {
  using enum error_kind;
  auto const insert = [&](std::vector<column_value> columns) {
    return [this, columns] { write.insert(u"hr.Person", columns); };
  };
  auto const with = [&](char16_t const* column, value given) {
    return insert({{u"name", u"x"}, {column, given}});
  };
  std::string const person = "class hr.Person, column ";
  std::string const taken =
      ": object " + id(ada) + " has this key already in unique index hr.Person.unique";
  object_id const boss = write.insert(u"hr.Boss", {{u"name", u"Bea"}});
  inserter bosses = write.prepare_insert(u"hr.Boss", {u"name"});
  object_id const boss_reserved = write.reserve_oids(u"hr.Boss", 2);
  object_id const boss_erased = {boss_reserved.oid + 1};
  bosses.insert_reserved(boss_reserved, {u"Cid"});
  bosses.insert_reserved(boss_erased, {u"Dan"});
  write.erase(boss_erased);
  check({
      {null_value, person + "name, value NULL: the column must have a value",
       insert({{u"age", 1}})},
      {null_value, person + "name, value NULL: the column must have a value",
       [&] {
         write.update(ada, {{u"name", null}});
       }},
      {null_value, person + "name, value NULL: the column must have a value",
       [&] { write.prepare_insert(u"hr.Person", {u"age"}); }},
      {wrong_type, person + "name, value 5: the column's type is string", insert({{u"name", 5}})},
      {wrong_type, person + "age, value \"5\": the column's type is unsigned integer",
       with(u"age", u"5")},
      {wrong_type, person + "age, value true: the column's type is unsigned integer",
       with(u"age", true)},
      {wrong_type, person + "pay, value 1.5: the column's type is decimal", with(u"pay", 1.5)},
      {wrong_type, person + "boss, value 7: the column's type is reference", with(u"boss", 7)},
      {wrong_type,
       "class hr.\xC3\x9C\xF0\x9F\x98\x80, column \xC3\xA9, value 0x00FF: the column's type is "
       "bool",
       [&] {
         unsigned char const bytes[] = {0, 255};
         write.insert(u"hr.\u00DC\U0001F600", {{u"\u00E9", binary_view(bytes)}});
       }},
      {out_of_range, person + "age, value -1: the column holds unsigned integers",
       with(u"age", -1)},
      {out_of_range,
       person + "score, value 9223372036854775808: the column holds signed integers up to "
                "9223372036854775807",
       with(u"score", 1ull << 63)},
      {out_of_range,
       person + "pay, value -4398046511104.000000: decimals lie between -4398046511103.999999 and "
                "4398046511103.999999",
       with(u"pay", decimal{-4'398'046'511'104'000'000})},
      {bad_reference,
       person + "boss, value object " + id(ada) + ": the object is not of class hr.Boss",
       with(u"boss", ada)},
      {bad_reference, person + "boss, value object " + id(gone) + ": there is no such object",
       with(u"boss", gone)},
      {duplicate, person + "name, age, pay, value \"Ada\", 36, 1.500000" + taken,
       insert({{u"name", u"Ada"}, {u"age", 36}, {u"pay", decimal{1'500'000}}})},
      {duplicate, person + "name, age, pay, value \"Ada\", 36, 1.500000" + taken,
       [&] {
         write.update(boss, {{u"pay", decimal{1'500'000}}, {u"name", u"Ada"}, {u"age", 36}});
       }},
      {unknown_name, "class hr.Person has no column nam", with(u"nam", 5)},
      {unknown_name, "there is no class hr.Persons", [&] { write.insert(u"hr.Persons", {}); }},
      {bad_definition, person + "$self: system columns are not written", with(u"$self", ada)},
      {bad_definition, person + "age is given twice",
       insert({{u"name", u"x"}, {u"age", 1}, {u"age", 2}})},
      {bad_definition, "class hr.Person: a row of 1 values for 2 columns",
       [&] {
         write.prepare_insert(u"hr.Person", {u"age", u"name"}).insert({1});
       }},
      {bad_definition, "class catalogue.Type is the catalogue's own: its objects are not written",
       [&] { write.insert(u"catalogue.Type", {}); }},
      {bad_definition, "class catalogue.Table is the catalogue's own: its objects are not written",
       [&] { write.erase({write.class_reference(u"hr.Person").oid}); }},
      {unknown_object, "there is no object " + id(gone),
       [&] {
         write.update(gone, {{u"name", u"x"}});
       }},
      {unknown_object, "there is no object " + id(gone), [&] { write.erase(gone); }},
      {bad_reference,
       "object " + id(ada) + " is not reserved for class hr.Boss in this transaction",
       [&] { write.prepare_insert(u"hr.Boss", {u"name"}).insert_reserved(ada, {u"x"}); }},
      {duplicate, "class hr.Boss: object " + id(boss_reserved) + " exists already",
       [&] { bosses.insert_reserved(boss_reserved, {u"x"}); }},
      {bad_reference,
       "object " + id(boss_erased) + " is not reserved for class hr.Boss in this transaction",
       [&] { bosses.insert_reserved(boss_erased, {u"x"}); }},
      {bad_reference,
       person + "boss, value object " + id(boss_erased) + ": there is no such object",
       with(u"boss", boss_erased)},
      {bad_definition,
       "class hr.Boss: cannot reserve 0 object ids; between 1 and 4294967296 can be at once",
       [&] { write.reserve_oids(u"hr.Boss", 0); }},
  });
}

TEST_F(Refusals, OfDefinitions) {
  using enum error_kind;
  auto const columns = [&](std::vector<column_definition> list, std::u16string base = u"") {
    return [this, list, base] {
      write.define_class({.name = u"new.Class", .base = base, .columns = list});
    };
  };
  auto const named = [&](char16_t const* name) {
    return [this, name] { write.define_class({.name = name}); };
  };
  auto const index = [&](char16_t const* name, char16_t const* of, std::vector<index_column> list,
                         bool unique = false) {
    return [=, this] { write.define_index({name, of, list, unique}); };
  };
  write.insert(u"hr.Person", {{u"name", u"Ada"}, {u"age", 40}});
  check({
      {bad_definition, "class hr.Person exists already", named(u"hr.Person")},
      {bad_definition, "class a..b: a part of the name is empty", named(u"a..b")},
      {bad_definition, "class : a part of the name is empty", named(u"")},
      {bad_definition, "class catalogue.Mine: names in catalogue are the catalogue's own",
       named(u"catalogue.Mine")},
      {unknown_name, "there is no class no.Base", columns({}, u"no.Base")},
      {bad_definition, "class catalogue.Table is the catalogue's own",
       columns({}, u"catalogue.Table")},
      {bad_definition, "class new.Class, column age: the class has a column of this name already",
       columns({{u"age"}}, u"hr.Person")},
      {bad_definition, "class new.Class, column a: the class has a column of this name already",
       columns({{u"a"}, {u"a"}})},
      {bad_definition,
       "class new.Class, column $a: names that begin with $ are the system columns'",
       columns({{u"$a"}})},
      {bad_definition,
       "class new.Class, column a.b: a column's name has neither dots nor zero units",
       columns({{u"a.b"}})},
      {bad_definition,
       "class new.Class, column r: a reference column names the class that it refers to, other "
       "columns do not",
       columns({{u"r", column_type::reference}})},
      {unknown_name, "class new.Class, column r: there is no class no.Class",
       columns({{u"r", column_type::reference, true, u"no.Class"}})},
      {bad_definition, "there is no column type 9", columns({{u"a", static_cast<column_type>(9)}})},
      {bad_definition, "index hr.Person.unique exists already",
       index(u"hr.Person.unique", u"hr.Boss", {{u"age"}})},
      {bad_definition, "index i on class hr.Person has no columns", index(u"i", u"hr.Person", {})},
      {unknown_name, "class hr.Person has no column none", index(u"i", u"hr.Person", {{u"none"}})},
      {bad_definition,
       "index i on class hr.Person, column age: the column stands in the index already",
       index(u"i", u"hr.Person", {{u"age"}, {u"name"}, {u"age", false}})},
      {duplicate,
       "class hr.Person, column name, value \"Ada\": object " + id(ada) +
           " has this key already in unique index i",
       index(u"i", u"hr.Person", {{u"name"}}, true)},
      {bad_definition, "class hr.Person cannot be dropped: class hr.Boss derives from it",
       [&] { write.drop_class(u"hr.Person"); }},
      {bad_definition, "class hr.Boss cannot be dropped: column hr.Person.boss refers to it",
       [&] { write.drop_class(u"hr.Boss"); }},
      {bad_definition, "class catalogue.Table is the catalogue's own",
       [&] { write.drop_class(u"catalogue.Table"); }},
      {bad_definition, "index hr.Boss.extent is the extent of a class and stays with it",
       [&] { write.drop_index(u"hr.Boss.extent"); }},
      {bad_definition, "index catalogue.Index.by_table is the catalogue's own",
       [&] { write.drop_index(u"catalogue.Index.by_table"); }},
      {unknown_name, "there is no index none", [&] { write.drop_index(u"none"); }},
  });
}

TEST_F(Refusals, OfTransactionsThatHaveEnded) {
  inserter rows = write.prepare_insert(u"hr.Person", {u"name"});
  write.commit();
  for (auto const& action : std::vector<std::function<void()>>{
           [&] { rows.insert({u"x"}); },
           [&] {
             write.insert(u"hr.Person", {{u"name", u"x"}});
           },
           [&] { write.define_class({.name = u"c"}); }, [&] { write.commit(); },
           [&] { (void)write.class_reference(u"hr.Person"); }, [&] { (void)write.bind(); }}) {
    EXPECT_EQ(refused(action).kind, error_kind::bad_transaction);
  }
  transaction next = data.begin_write();
  inserter stale = next.prepare_insert(u"hr.\u00DC\U0001F600");
  next.define_class({.name = u"c"});
  stale.insert({true});
  next.drop_class(u"c");
  EXPECT_EQ(refused([&] { stale.insert({true}); }).text,
            "the inserter of class hr.\xC3\x9C\xF0\x9F\x98\x80 ended when a class was dropped");
}

// A wrong thread, and a stop before the first change, leave the transaction to its owner.
TEST(WriteTransactions, SurviveAWrongThreadAndAnEarlyStop) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  write.define_class({.name = u"A"});
  std::thread([&] {
    EXPECT_EQ(refused([&] { write.define_class({.name = u"B"}); }).kind,
              error_kind::bad_transaction);
    EXPECT_EQ(refused([&] { write.commit(); }).kind, error_kind::bad_transaction);
  }).join();
  write.request_stop();
  EXPECT_EQ(refused([&] { write.define_class({.name = u"B"}); }).kind, error_kind::stopped);
  write.clear_stop();
  write.insert(u"A", {});
  write.commit();
  EXPECT_TRUE(data.begin_snapshot().has_class(u"A"));
}

TEST(RefusedPaths, NameThePath) {
  std::filesystem::path const path = testing::TempDir() + "no_such_directory/data";
  refusal const result = refused([&] { database::open(path); });
  EXPECT_EQ(result.kind, error_kind::cannot_open);
  EXPECT_NE(result.text.find(path.string()), std::string::npos) << result.text;
}

}  // namespace
}  // namespace qd::embedded
