// The check of a database: each kind of damage, made behind the kernel's back, is found and named.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lmdb.h>
#include <stdlib.h>

#include <filesystem>
#include <functional>
#include <thread>

#include "coredb/block.h"
#include "coredb/byte_order.h"
#include "dbmetalayer/database.h"

namespace qd::embedded {
namespace {

using coredb::block_of;
using coredb::record_of;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::string big_endian(std::uint64_t number) {
  unsigned char bytes[8];
  coredb::put_big_endian(bytes, number);
  return std::string(reinterpret_cast<char const*>(bytes), sizeof bytes);
}

// The key spaces of a database file that is open nowhere else.
class raw_file {
 public:
  explicit raw_file(std::filesystem::path const& path) {
    require(mdb_env_create(&environment_));
    require(mdb_env_set_maxdbs(environment_, 64));
    require(mdb_env_set_mapsize(environment_, std::size_t{1} << 30));
    require(mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR, 0600));
    require(mdb_txn_begin(environment_, nullptr, 0, &transaction_));
  }
  ~raw_file() {
    EXPECT_EQ(mdb_txn_commit(transaction_), 0);
    mdb_env_close(environment_);
  }

  std::string get(char const* space, std::string key) {
    MDB_val wanted = value_of(key);
    MDB_val found{};
    require(mdb_get(transaction_, open(space), &wanted, &found));
    return {static_cast<char const*>(found.mv_data), found.mv_size};
  }
  void put(char const* space, std::string key, std::string content) {
    MDB_val wanted = value_of(key);
    MDB_val stored = value_of(content);
    require(mdb_put(transaction_, open(space), &wanted, &stored, 0));
  }
  void erase(char const* space, std::string key) {
    MDB_val wanted = value_of(key);
    require(mdb_del(transaction_, open(space), &wanted, nullptr));
  }
  // Keys of a space that hold `part`.
  std::vector<std::string> keys(char const* space, std::string const& part) {
    std::vector<std::string> found;
    MDB_cursor* cursor = nullptr;
    require(mdb_cursor_open(transaction_, open(space), &cursor));
    MDB_val key{};
    MDB_val value{};
    while (mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == 0) {
      std::string each(static_cast<char const*>(key.mv_data), key.mv_size);
      if (each.find(part) != std::string::npos) found.push_back(std::move(each));
    }
    mdb_cursor_close(cursor);
    return found;
  }

 private:
  static void require(int code) {
    if (code != 0) throw std::runtime_error(mdb_strerror(code));
  }
  static MDB_val value_of(std::string& bytes) { return {bytes.size(), bytes.data()}; }
  MDB_dbi open(char const* space) {
    MDB_dbi database = 0;
    require(mdb_dbi_open(transaction_, space, 0, &database));
    return database;
  }

  MDB_env* environment_ = nullptr;
  MDB_txn* transaction_ = nullptr;
};

class Check : public testing::Test {
 protected:
  Check() {
    char pattern[] = "/tmp/check-XXXXXX";
    directory = mkdtemp(pattern);
    path = directory / "data";
    database data = database::open(path);
    transaction write = data.begin_write();
    write.define_class({.name = u"a.Item",
                        .columns = {{u"number", column_type::unsigned_integer},
                                    {u"text", column_type::string},
                                    {u"of", column_type::reference, true, u"a.Item"}}});
    write.define_index({.name = u"a.by_number",
                        .class_name = u"a.Item",
                        .columns = {{u"number"}},
                        .unique = true});
    write.define_index({.name = u"a.by_of", .class_name = u"a.Item", .columns = {{u"of"}}});
    inserter rows = write.prepare_insert(u"a.Item");
    for (unsigned i = 0; i < 100; ++i) {
      std::u16string const text(i % 10 == 0 ? 3000 : 5, u't');
      items.push_back(rows.insert({number_of(i), text, i == 0 ? value() : value(items[i / 2])}));
    }
    write.erase(items[99]);
    write.commit();
    auto const item = data.begin_snapshot().describe_class(u"a.Item");
    layout = item->layout;
    by_number = "entries" + std::to_string(item->indexes[1].kernel_id % 32);
    by_of = "entries" + std::to_string(item->indexes[2].kernel_id % 32);
  }
  ~Check() override { std::filesystem::remove_all(directory); }

  // Recognised among the bytes of a key.
  static std::uint64_t number_of(unsigned i) { return 0xABCDEF0000000000 + i; }

  std::vector<std::string> faults() const { return database::open(path).begin_snapshot().check(); }

  std::string block_key(unsigned item) const { return big_endian(block_of(items[item].oid)); }
  // Changes the stored number of an item.
  void set_number(raw_file& file, unsigned item, std::uint64_t number) const {
    std::string image = file.get("blocks", block_key(item));
    std::size_t const record_bytes = 8 + 3 * 8;
    std::size_t const slot =
        coredb::block_header_bytes + record_of(items[item].oid) * record_bytes + 8;
    image.replace(slot, 8, reinterpret_cast<char const*>(&number), 8);
    file.put("blocks", block_key(item), image);
  }
  std::string name(unsigned item) const { return "object " + std::to_string(items[item].oid); }

  std::filesystem::path directory;
  std::filesystem::path path;
  std::vector<object_id> items;
  std::uint16_t layout = 0;
  std::string by_number, by_of;
};

TEST_F(Check, FindsNothingInASoundDatabase) {
  EXPECT_THAT(faults(), IsEmpty());
}

TEST_F(Check, FindsAndNamesDamage) {
  std::string const in_index = "index a.by_number, class a.Item, ";
  struct {
    char const* damage;
    std::function<void(raw_file&)> make;
    std::vector<std::string> found;  // How a text begins.
  } const cases[] = {
      {"an entry that is missing",
       [&](raw_file& file) {
         file.erase(by_number.c_str(),
                    file.keys(by_number.c_str(), big_endian(number_of(7))).at(0));
       },
       {in_index + name(7) + ": the index lacks the object"}},
      {"an entry of no object",
       [&](raw_file& file) {
         std::string key = file.keys(by_number.c_str(), big_endian(number_of(7))).at(0);
         std::string const content = file.get(by_number.c_str(), key);
         // Ids of one size.
         key.replace(key.size() - 2, 2, big_endian(items[99].oid).substr(6));
         file.put(by_number.c_str(), key, content);
       },
       {in_index + name(99) + ": the index holds an object that does not exist"}},
      {"an entry of another layout",
       [&](raw_file& file) {
         std::string const key = file.keys(by_number.c_str(), big_endian(number_of(7))).at(0);
         std::string const id_size(1, file.get(by_number.c_str(), key)[0]);
         file.put(by_number.c_str(), key, id_size + std::string("\2\0", 2));
       },
       {in_index + name(7) + ": the index has another entry for the object",
        "index a.by_number, class catalogue.Type, " + name(7) +
            ": the index holds an object of another class"}},
      {"a value that is not the indexed one",
       [&](raw_file& file) { set_number(file, 7, number_of(1000)); },
       {in_index + name(7) + ": the index lacks the object",
        in_index + name(7) + ": the index holds the object under a key that is not its own"}},
      {"a unique key that two objects have",
       [&](raw_file& file) {
         std::string key = file.keys(by_number.c_str(), big_endian(number_of(7))).at(0);
         std::string const content = file.get(by_number.c_str(), key);
         file.erase(by_number.c_str(), key);
         key.replace(key.find(big_endian(number_of(7))), 8, big_endian(number_of(8)));
         file.put(by_number.c_str(), key, content);
         set_number(file, 7, number_of(8));
       },
       {in_index + name(8) + ": the unique index holds the object's key for another object"}},
      {"a block that is damaged",
       [&](raw_file& file) {
         std::string image = file.get("blocks", block_key(7));
         image[0] = static_cast<char>(~image[0]);
         file.put("blocks", block_key(7), image);
       },
       {"block " + std::to_string(block_of(items[7].oid)) + " is damaged"}},
      {"a long text that is missing",
       [&](raw_file& file) { file.erase("long", file.keys("long", big_endian(items[20].oid))[0]); },
       {"class a.Item, " + name(20) + ": column 4"}},
      {"a long text of no column",
       [&](raw_file& file) { file.put("long", big_endian(items[21].oid) + big_endian(4), "x"); },
       {name(21) + ": a long value that no column holds"}},
      {"a count that is wrong",
       [&](raw_file& file) {
         std::string const key{'n', static_cast<char>(layout >> 8), static_cast<char>(layout)};
         std::string counters = file.get("meta", key);
         counters[8] = 98;
         file.put("meta", key, counters);
       },
       {"class a.Item: the class counts 98 objects and has 99"}},
      {"a block that its class does not list",
       [&](raw_file& file) {
         for (std::string const& key : file.keys("extents", block_key(7))) {
           file.erase("extents", key);
         }
       },
       {"class a.Item: block " + std::to_string(block_of(items[7].oid)) + " is not listed"}},
      {"a note that is missing",
       [&](raw_file& file) {
         file.erase("referrers",
                    big_endian(items[5].oid) + big_endian(items[10].oid) + big_endian(5));
       },
       {"class a.Item, " + name(10) + ": the note of its reference in column 5 is missing"}},
      {"a note of nothing",
       [&](raw_file& file) {
         file.put("referrers", big_endian(items[5].oid) + big_endian(items[20].oid) + big_endian(5),
                  "");
       },
       {name(20) + ": a note says that column 5 refers to " + name(5) + ", but it does not"}},
      {"an entry of no index",
       [&](raw_file& file) {
         file.put("entries0",
                  "\1\xC0"
                  "key",
                  "\1\1\1");
       },
       {"an index entry of no index"}},
  };
  std::filesystem::path const sound = directory / "sound";
  std::filesystem::copy_file(path, sound);
  for (auto const& each : cases) {
    SCOPED_TRACE(each.damage);
    std::filesystem::copy_file(sound, path, std::filesystem::copy_options::overwrite_existing);
    {
      raw_file file(path);
      each.make(file);
    }
    std::vector<std::string> const found = faults();
    EXPECT_EQ(found.size(), each.found.size()) << testing::PrintToString(found);
    for (std::string const& text : each.found) EXPECT_THAT(found, Contains(StartsWith(text)));
  }
}

TEST_F(Check, StopsWhenAskedAndReportsNoMoreThanWanted) {
  {
    raw_file file(path);
    for (std::string const& key :
         file.keys(by_number.c_str(), big_endian(number_of(7)).substr(0, 7))) {
      file.erase(by_number.c_str(), key);
    }
  }
  database data = database::open(path);
  snapshot const view = data.begin_snapshot();
  EXPECT_EQ(view.check().size(), 99u);
  EXPECT_EQ(view.check(3).size(), 3u);
  view.request_stop();
  try {
    (void)view.check();
    ADD_FAILURE() << "it should have stopped";
  } catch (error const& met) {
    EXPECT_EQ(met.kind(), error_kind::stopped);
  }
}

}  // namespace
}  // namespace qd::embedded
