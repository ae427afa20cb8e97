// Objects: every column kind written and read back, system columns, layouts and their bases,
// references, long values, updates.
#include <functional>
#include <limits>

#include "coredb/support.h"

namespace qd::coredb::test {
namespace {

constexpr std::uint64_t minus_one = ~std::uint64_t{0};

// Reads a column with the getter of its kind.
unsigned int read(unsigned long context, std::uint64_t oid, std::uint16_t layout,
                  unsigned int column, test_value& value) {
  value.null = false;
  switch (value.kind) {
    case kind::unsigned_integer:
      return vela_context_get_ulong(context, oid, layout, column, &value.word);
    case kind::signed_integer:
      return vela_context_get_long(context, oid, layout, column,
                                   reinterpret_cast<long*>(&value.word));
    case kind::decimal:
      return vela_context_get_decimal(context, oid, layout, column,
                                      reinterpret_cast<long*>(&value.word));
    case kind::single_float: {
      float number = 0;
      unsigned int const status = vela_context_get_float(context, oid, layout, column, &number);
      value.word = std::bit_cast<std::uint32_t>(number);
      return status;
    }
    case kind::double_float: {
      double number = 0;
      unsigned int const status = vela_context_get_double(context, oid, layout, column, &number);
      value.word = std::bit_cast<std::uint64_t>(number);
      return status;
    }
    case kind::string:
    case kind::set_specifier:
    case kind::binary: {
      VELA_VALUE bytes{};
      unsigned int const status = vela_context_get_binary(context, oid, layout, column, &bytes);
      value.bytes.assign(reinterpret_cast<char const*>(bytes.data), bytes.size);
      return status;
    }
    case kind::reference: {
      VELA_RECORD record{};
      unsigned int const status = vela_context_get_reference(context, oid, layout, column, &record);
      value.word = record.oid;
      return status;
    }
    case kind::boolean:
      return vela_meta_get_bool(context, oid, layout, column, &value.word);
  }
  return status_bad_argument;
}

std::vector<column_kind> const every_kind = {
    kind::unsigned_integer, kind::signed_integer, kind::decimal,
    kind::single_float,     kind::double_float,   kind::string,
    kind::binary,           kind::reference,      kind::boolean};

std::vector<std::vector<test_value>> const rows = {
    {null_of(kind::unsigned_integer), null_of(kind::signed_integer), null_of(kind::decimal),
     null_of(kind::single_float), null_of(kind::double_float), null_of(kind::string),
     null_of(kind::binary), null_of(kind::reference), null_of(kind::boolean)},
    // Zeroes and empties are values, not NULL.
    {unsigned_of(0), signed_of(0), word_of(kind::decimal, 0), float_of(0), double_of(-0.0),
     text_of(u""), binary_of(""), null_of(kind::reference), word_of(kind::boolean, 0)},
    {unsigned_of(minus_one), signed_of(std::numeric_limits<std::int64_t>::min()),
     word_of(kind::decimal, static_cast<std::uint64_t>(-4398046511103999999)),
     float_of(-std::numeric_limits<float>::infinity()), double_of(5e-324),
     text_of(u"\u00E9\xD800"
             u" lone\uFFFF"),
     binary_of(std::string("\0\xFF\0", 3)), null_of(kind::reference), word_of(kind::boolean, 1)},
    // Around the size at which values leave their block.
    {unsigned_of(1), signed_of(-1), word_of(kind::decimal, 1), float_of(1.5F), double_of(1e300),
     text_of(std::u16string(1023, u'x')), binary_of(std::string(1024, 'y')),
     null_of(kind::reference), null_of(kind::boolean)},
    {unsigned_of(2), signed_of(-2), word_of(kind::decimal, 2), float_of(2.5F), double_of(2e300),
     text_of(std::u16string(1024, u'x')), binary_of(std::string(1025, 'y')),
     null_of(kind::reference), null_of(kind::boolean)},
    {unsigned_of(3), signed_of(-3), word_of(kind::decimal, 3), float_of(3.5F), double_of(3e300),
     text_of(std::u16string(100'000, u'\u4E00')), binary_of(std::string(1'000'000, 'z')),
     null_of(kind::reference), null_of(kind::boolean)},
};

void expect_row(unsigned long context, std::uint64_t oid, std::uint16_t layout,
                std::vector<test_value> const& row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    SCOPED_TRACE("object " + std::to_string(oid) + ", kind " + std::to_string(i));
    test_value value{.kind = row[i].kind};
    unsigned int const status =
        read(context, oid, layout, static_cast<unsigned int>(i + system_column_count), value);
    EXPECT_EQ(status, row[i].null ? status_null : status_ok);
    if (row[i].null) continue;
    EXPECT_EQ(value.word, row[i].word);
    EXPECT_EQ(value.bytes, row[i].bytes);
  }
}

TEST(Columns, EveryKindComesBackInTheTransactionAndAfterIt) {
  auto const database = database::open_temporary();
  auto transaction = database->begin_write();
  std::uint16_t const layout = transaction->create_layout({0, 0, 0, u"A", every_kind});
  oids written;
  // More than one block.
  for (int i = 0; i < 30; ++i) {
    for (auto const& row : rows) {
      written.push_back(insert(*transaction, layout, row));
    }
  }
  auto const expect_all = [&](unsigned long context) {
    for (std::size_t i = 0; i < written.size(); ++i) {
      expect_row(context, written[i], layout, rows[i % rows.size()]);
    }
  };
  expect_all(transaction->handle());
  transaction->commit();
  expect_all(database->begin_snapshot()->handle());
}

TEST(Columns, UpdatesReplaceEveryRowByEveryOther) {
  auto const database = database::open_temporary();
  for (auto const& before : rows) {
    for (auto const& after : rows) {
      auto transaction = database->begin_write();
      std::uint16_t const layout = transaction->create_layout({0, 0, 0, u"A", every_kind});
      std::uint64_t const other = insert(*transaction, layout, rows[2]);
      std::uint64_t const oid = insert(*transaction, layout, before);
      transaction->commit();
      transaction = database->begin_write();
      std::vector<field_change> changes;
      for (std::size_t i = 0; i < after.size(); ++i) {
        changes.push_back(
            {static_cast<unsigned int>(i + system_column_count), after[i].to_field()});
      }
      // Twice, so that the second replaces what only memory holds.
      transaction->update(oid, changes);
      transaction->update(oid, changes);
      expect_row(transaction->handle(), oid, layout, after);
      transaction->commit();
      auto const snapshot = database->begin_snapshot();
      expect_row(snapshot->handle(), oid, layout, after);
      expect_row(snapshot->handle(), other, layout, rows[2]);
    }
  }
}

TEST(Columns, ABlockSurvivesManyUpdatesOfItsTexts) {
  auto const database = database::open_temporary();
  auto transaction = database->begin_write();
  std::uint16_t const layout =
      transaction->create_layout({0, 0, 0, u"A", {kind::string, kind::binary}});
  std::mt19937 random(7);
  std::vector<std::vector<test_value>> expected(64, {null_of(kind::string), null_of(kind::binary)});
  oids written;
  for (auto const& row : expected) written.push_back(insert(*transaction, layout, row));
  for (int i = 0; i < 5000; ++i) {
    std::size_t const row = random() % expected.size();
    test_value const text = text_of(std::u16string(random() % 300, u'a'));
    test_value const bytes = binary_of(std::string(random() % 1500, static_cast<char>(i)));
    expected[row] = {text, bytes};
    update(*transaction, written[row], 3, text);
    update(*transaction, written[row], 4, bytes);
  }
  transaction->commit();
  auto const snapshot = database->begin_snapshot();
  for (std::size_t i = 0; i < written.size(); ++i) {
    expect_row(snapshot->handle(), written[i], layout, expected[i]);
  }
}

class Layouts : public testing::Test {
 protected:
  Layouts() {
    base = transaction->create_layout({0, 0, 0, u"B", {kind::unsigned_integer}});
    class_record = insert(*transaction, base, {unsigned_of(100)});
    derived =
        transaction->create_layout({0, base, class_record, u"BD", {kind::string, kind::reference}});
    sibling = transaction->create_layout({0, base, 0, u"BE", {kind::string}});
    target = insert(*transaction, sibling, {unsigned_of(7), text_of(u"target")});
    object = insert(*transaction, derived, {unsigned_of(5), text_of(u"t"), reference_of(target)});
  }

  std::shared_ptr<coredb::database> database = database::open_temporary();
  std::unique_ptr<write_transaction> transaction = database->begin_write();
  std::uint16_t base, derived, sibling;
  std::uint64_t class_record, target, object;
};

TEST_F(Layouts, ADerivedObjectIsReadThroughItsBaseAndNoOther) {
  transaction->commit();
  auto const snapshot = database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  unsigned long number = 0;
  struct {
    char const* fault;
    std::uint64_t oid;
    std::uint16_t layout;
    unsigned int column;
    unsigned int status;
  } const cases[] = {
      {"own layout", object, derived, 3, status_ok},
      {"base layout", object, base, 3, status_ok},
      {"no layout named", object, 0, 3, status_ok},
      {"sibling's layout", object, sibling, 3, status_wrong_layout},
      {"derived layout of a base object", class_record, derived, 3, status_wrong_layout},
      {"unknown layout", object, 999, 3, status_wrong_layout},
      {"column behind the last", object, derived, 6, status_unknown_column},
      {"column far behind the last", object, derived, 0xFFFFFFFF, status_unknown_column},
      {"derived column of a base object", class_record, base, 4, status_unknown_column},
      {"another kind", object, derived, 4, status_wrong_kind},
      {"system column", object, derived, 0, status_wrong_kind},
      {"unknown object", 0, derived, 3, status_null},
      {"unknown object in a block", object + 1, derived, 3, status_null},
      {"unknown object far away", ~0ul, derived, 3, status_null},
  };
  for (auto const& row : cases) {
    EXPECT_EQ(vela_context_get_ulong(context, row.oid, row.layout, row.column, &number), row.status)
        << row.fault;
    if (row.status == status_ok) {
      EXPECT_EQ(number, 5u) << row.fault;
    }
  }
  // The address is a hint only, whatever it says.
  EXPECT_EQ(vela_context_get_ulong(context, object, 0xDEADBEEFul << 16 | base, 3, &number),
            status_ok);
}

TEST_F(Layouts, SystemColumnsTellTheObjectItsClassAndItsSpecifier) {
  transaction->commit();
  auto const snapshot = database->begin_snapshot();
  unsigned long const context = snapshot->handle();
  VELA_RECORD record{};
  ASSERT_EQ(vela_context_get_reference(context, object, base, 0, &record), status_ok);
  EXPECT_EQ(record.oid, object);
  EXPECT_EQ(record.layout, derived);
  ASSERT_EQ(vela_context_get_reference(context, object, base, 2, &record), status_ok);
  EXPECT_EQ(record.oid, class_record);
  EXPECT_EQ(vela_context_get_reference(context, target, base, 2, &record), status_null);
  VELA_UCS2 const* text = nullptr;
  ASSERT_EQ(vela_context_get_setspec(context, object, base, &text), status_ok);
  EXPECT_EQ(text_in(text), u"BD");
  EXPECT_EQ(text->units[2], u'\0');
  ASSERT_EQ(vela_context_get_string(context, object, base, 1, &text), status_ok);
  EXPECT_EQ(text_in(text), u"BD");
  EXPECT_EQ(vela_context_get_setspec(context, 4711, base, &text), status_null);
  ASSERT_EQ(vela_context_get_string(context, object, derived, 4, &text), status_ok);
  EXPECT_EQ(text_in(text), u"t");
  EXPECT_EQ(text->units[1], u'\0');
}

TEST_F(Layouts, AReferenceReadsItsTargetUntilThatIsDeleted) {
  transaction->commit();
  auto const before = database->begin_snapshot();
  transaction = database->begin_write();
  transaction->erase(target);
  VELA_RECORD record{};
  EXPECT_EQ(vela_context_get_reference(transaction->handle(), object, derived, 5, &record),
            status_null);
  transaction->commit();
  auto const after = database->begin_snapshot();
  ASSERT_EQ(vela_context_get_reference(before->handle(), object, derived, 5, &record), status_ok);
  EXPECT_EQ(record.oid, target);
  EXPECT_EQ(record.layout, sibling);
  unsigned long address = 0;
  EXPECT_EQ(vela_context_lookup(before->handle(), target, &address), status_ok);
  EXPECT_EQ(address, record.address << 16 | record.layout);
  EXPECT_EQ(vela_context_get_reference(after->handle(), object, derived, 5, &record), status_null);
  EXPECT_EQ(vela_context_lookup(after->handle(), target, &address), status_unknown_object);
  EXPECT_EQ(vela_context_lookup(after->handle(), object, &address), status_ok);
  EXPECT_EQ(vela_context_lookup(after->handle(), ~0ul, &address), status_unknown_object);
  VELA_UCS2 const* text = nullptr;
  EXPECT_EQ(vela_context_get_string(after->handle(), target, sibling, 4, &text), status_null);
  EXPECT_EQ(text, nullptr);
}

TEST_F(Layouts, RefusalsNameTheColumnAndChangeNothing) {
  field const number = field::of_unsigned(1);
  field const wrong = field::of_signed(1);
  field_change const system_column{1, field::of_string({})};
  field_change const missing{9, number};
  struct {
    char const* text;
    std::function<void()> refused;
  } const cases[] = {
      {"layout 77 does not exist", [&] { transaction->insert(77, {}); }},
      {"takes 1 fields, not 0", [&] { transaction->insert(base, {}); }},
      {"column 3 is of kind 0, the value of kind 1",
       [&] {
         transaction->insert(base, {&wrong, 1});
       }},
      {"column 1 never changes",
       [&] {
         transaction->update(object, {&system_column, 1});
       }},
      {"column 9 does not exist",
       [&] {
         transaction->update(object, {&missing, 1});
       }},
      {"object 12345 does not exist", [&] { transaction->erase(12345); }},
      {"object 12345 is not reserved",
       [&] {
         transaction->insert_reserved(12345, {&number, 1});
       }},
  };
  for (auto const& row : cases) expect_error(error_kind::bad_object, row.text, row.refused);
  // The transaction goes on.
  transaction->commit();
  unsigned long value = 0;
  EXPECT_EQ(vela_context_get_ulong(database->begin_snapshot()->handle(), object, base, 3, &value),
            status_ok);
}

}  // namespace
}  // namespace qd::coredb::test
