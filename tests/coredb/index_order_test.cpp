// Index scans against an oracle: the rows sorted in memory by the documented order and cut at the
// bounds, over random rows, indexes and keys.
#include <algorithm>

#include "coredb/support.h"

namespace qd::coredb::test {
namespace {

struct row {
  std::uint64_t oid;
  std::vector<test_value> values;
};

using columns = std::vector<index_column_definition>;

// Compares the first columns of a row with a key of as many fields, in the order of the index.
int compare_to_key(row const& row, columns const& columns, std::vector<test_value> const& key) {
  for (std::size_t i = 0; i < key.size(); ++i) {
    int const order = compare(row.values[columns[i].column - system_column_count], key[i]);
    if (order != 0) return columns[i].ascending ? order : -order;
  }
  return 0;
}

// The objects in the range, in index order, equal keys in the order of their ids.
oids expected(std::vector<row> rows, columns const& columns, std::vector<test_value> const& low,
              bool low_inclusive, std::vector<test_value> const& high, bool high_inclusive) {
  std::erase_if(rows, [&](row const& row) {
    int const from_low = compare_to_key(row, columns, low);
    int const from_high = compare_to_key(row, columns, high);
    return from_low < 0 || (from_low == 0 && !low_inclusive) || from_high > 0 ||
           (from_high == 0 && !high_inclusive);
  });
  std::sort(rows.begin(), rows.end(), [&](row const& left, row const& right) {
    std::vector<test_value> key;
    for (auto const& column : columns) {
      key.push_back(right.values[column.column - system_column_count]);
    }
    int const order = compare_to_key(left, columns, key);
    return order != 0 ? order < 0 : left.oid < right.oid;
  });
  oids result;
  for (row const& row : rows) result.push_back(row.oid);
  return result;
}

std::vector<column_kind> const kinds = {
    kind::unsigned_integer, kind::signed_integer, kind::decimal,
    kind::string,           kind::binary,         kind::reference,
    kind::boolean,          kind::double_float,   kind::single_float};

constexpr std::size_t reference_position = 5;

class generator {
 public:
  explicit generator(unsigned int seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return random_() % limit; }

  // Few different values, so that equal keys and equal beginnings are common.
  test_value value(column_kind kind) {
    if (below(8) == 0) return null_of(kind);
    static constexpr std::uint64_t words[] = {
        0, 1, 2, 255, 256, 0x7FFFFFFFFFFFFFFF, 0x8000000000000000, ~std::uint64_t{0}};
    static constexpr std::int64_t decimals[] = {
        0, 1, -1, 999'999, 1'000'000, -1'500'000, 4398046511103999999, -4398046511103999999};
    static constexpr double numbers[] = {0.0, -1.5, 1.5, 1e300, -1e300, 5e-324, -5e-324, 65536.0};
    std::size_t const choice = below(8);
    switch (kind) {
      case kind::decimal:
        return word_of(kind, static_cast<std::uint64_t>(decimals[choice]));
      case kind::boolean:
        return word_of(kind, choice & 1);
      case kind::reference:
        // Half of them to objects that exist; id 0 would be NULL.
        return word_of(kind, choice < 4 ? 70 + choice : words[choice] | 1);
      case kind::double_float:
        return double_of(numbers[choice]);
      case kind::single_float:
        return float_of(static_cast<float>(numbers[choice] / 3));
      case kind::string:
        return text_of(text());
      case kind::binary:
        return binary_of(binary());
      default:
        return word_of(kind, words[choice]);
    }
  }

  // A field of a key: also what no row holds, the ends of prefixes and the ends of everything.
  test_value key_value(column_kind kind) {
    test_value made = value(kind);
    if (below(4) == 0 && kind == kind::string) return text_of(made.text, true);
    if (below(6) == 0 && kind == kind::binary) return binary_of("", true);
    return made;
  }

 private:
  std::u16string text() {
    static constexpr char16_t units[] = {u'a',      u'b',      u'\x7F',   u'\u0080',
                                         u'\u07FF', u'\u0800', u'\xD83D', u'\uFFFF'};
    std::u16string made;
    // Often too long for a stored key, and then with a long common beginning.
    if (below(3) == 0) made.assign(below(2) == 0 ? 600 : 484 + below(4), u'l');
    for (std::size_t i = below(4); i > 0; --i) made += units[below(8)];
    return made;
  }
  std::string binary() {
    static constexpr char bytes[] = {'\0', '\1', '\x60', '\x7F', '\x80', '\xC0', '\xFE', '\xFF'};
    std::string made;
    if (below(3) == 0) made.assign(below(2) == 0 ? 600 : 25 + below(8), '\0');
    for (std::size_t i = below(4); i > 0; --i) made += bytes[below(8)];
    return made;
  }

  std::mt19937 random_;
};

columns random_columns(generator& random) {
  columns made;
  for (std::size_t count = 1 + random.below(3); made.size() < count;) {
    std::size_t const column = random.below(kinds.size());
    made.push_back({static_cast<std::uint16_t>(column + system_column_count), kinds[column],
                    random.below(2) == 0});
  }
  return made;
}

// A key of the leading columns; kernel keys have no floating fields, so it ends before one.
std::vector<test_value> random_key(generator& random, columns const& columns) {
  std::vector<test_value> key;
  for (std::size_t count = random.below(columns.size() + 1); key.size() < count;) {
    column_kind const kind = columns[key.size()].kind;
    if (kind == kind::double_float || kind == kind::single_float) break;
    key.push_back(random.key_value(kind));
  }
  return key;
}

class IndexOrder : public testing::TestWithParam<unsigned int> {};

TEST_P(IndexOrder, ScansAgreeWithTheSortedRows) {
  generator random(GetParam());
  auto const database = database::open_temporary();
  auto transaction = database->begin_write();
  std::uint16_t const base = transaction->create_layout({0, 0, 0, u"B", kinds});
  std::uint16_t const derived = transaction->create_layout({0, base, 0, u"BD", {}});
  std::vector<columns> shapes;
  std::vector<std::uint64_t> indexes;
  std::vector<row> rows;
  bool references_indexed = false;
  auto const add_index = [&] {
    shapes.push_back(random_columns(random));
    indexes.push_back(transaction->create_index({0, base, shapes.back(), false, false}));
    bool const has_reference =
        std::any_of(shapes.back().begin(), shapes.back().end(),
                    [](auto const& column) { return column.kind == kind::reference; });
    if (references_indexed || !has_reference) return;
    references_indexed = true;
    // The first index over references makes those NULL that lead to no object.
    for (row& each : rows) {
      test_value& reference = each.values[reference_position];
      auto const is_target = [&](row const& other) { return other.oid == reference.word; };
      if (std::none_of(rows.begin(), rows.end(), is_target)) reference = null_of(kind::reference);
    }
  };
  for (int i = 0; i < 4; ++i) add_index();
  for (int i = 0; i < 250; ++i) {
    row made{0, {}};
    for (column_kind const kind : kinds) made.values.push_back(random.value(kind));
    made.oid = insert(*transaction, random.below(3) == 0 ? derived : base, made.values);
    rows.push_back(std::move(made));
  }
  // Over objects that are there already.
  for (int i = 0; i < 2; ++i) add_index();

  auto const expect_scans = [&](unsigned long context, int count) {
    for (int i = 0; i < count; ++i) {
      std::size_t const which = random.below(shapes.size());
      columns const& shape = shapes[which];
      std::vector<test_value> const low = random_key(random, shape);
      std::vector<test_value> const high = random_key(random, shape);
      bool const low_inclusive = random.below(2) == 0;
      bool const high_inclusive = random.below(2) == 0;
      oids wanted = expected(rows, shape, low, low_inclusive, high, high_inclusive);
      unsigned int const up =
          (low_inclusive ? first_inclusive : 0) | (high_inclusive ? last_inclusive : 0);
      unsigned int const down = descending | (high_inclusive ? first_inclusive : 0) |
                                (low_inclusive ? last_inclusive : 0);
      ASSERT_EQ(scan(context, indexes[which], low, high, up), wanted) << "scan " << i;
      std::reverse(wanted.begin(), wanted.end());
      ASSERT_EQ(scan(context, indexes[which], high, low, down), wanted) << "scan " << i;
    }
  };
  expect_scans(transaction->handle(), 100);

  // Some rows change, some go.
  for (int i = 0; i < 60; ++i) {
    row& changed = rows[random.below(rows.size())];
    auto const column = static_cast<unsigned int>(random.below(kinds.size()));
    changed.values[column] = random.value(kinds[column]);
    update(*transaction, changed.oid, column + system_column_count, changed.values[column]);
  }
  for (int i = 0; i < 30; ++i) {
    std::size_t const which = random.below(rows.size());
    std::uint64_t const gone = rows[which].oid;
    transaction->erase(gone);
    rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(which));
    // Some references happen to lead to it.
    for (row& other : rows) {
      test_value& reference = other.values[reference_position];
      if (reference.word == gone) reference = null_of(kind::reference);
    }
  }
  expect_scans(transaction->handle(), 50);
  transaction->commit();
  auto const snapshot = database->begin_snapshot();
  expect_scans(snapshot->handle(), 300);
}

INSTANTIATE_TEST_SUITE_P(Seeds, IndexOrder, testing::Range(1u, 13u));

}  // namespace
}  // namespace qd::coredb::test
