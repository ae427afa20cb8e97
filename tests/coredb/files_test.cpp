// Database files: what is refused, what survives, who waits for whom.
#include <fcntl.h>
#include <lmdb.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <thread>

#include "coredb/byte_order.h"
#include "coredb/support.h"

namespace qd::coredb::test {
namespace {

namespace fs = std::filesystem;

void write_file(fs::path const& path, std::string const& content) {
  std::ofstream(path, std::ios::binary) << content;
}

// Changes one entry of a database file behind the kernel's back, which must not have it open.
// `change` gets the old value and returns the new one.
void edit_entry(fs::path const& path, char const* space, std::string key,
                std::function<std::string(std::string)> const& change) {
  MDB_env* environment = nullptr;
  ASSERT_EQ(mdb_env_create(&environment), 0);
  ASSERT_EQ(mdb_env_set_maxdbs(environment, 8), 0);
  ASSERT_EQ(mdb_env_set_mapsize(environment, std::size_t{1} << 30), 0);
  ASSERT_EQ(mdb_env_open(environment, path.c_str(), MDB_NOSUBDIR, 0600), 0);
  MDB_txn* transaction = nullptr;
  ASSERT_EQ(mdb_txn_begin(environment, nullptr, 0, &transaction), 0);
  MDB_dbi database = 0;
  ASSERT_EQ(mdb_dbi_open(transaction, space, MDB_CREATE, &database), 0);
  MDB_val key_value{key.size(), key.data()};
  MDB_val value{};
  std::string old;
  if (mdb_get(transaction, database, &key_value, &value) == 0) {
    old.assign(static_cast<char const*>(value.mv_data), value.mv_size);
  }
  std::string changed = change(old);
  value = {changed.size(), changed.data()};
  ASSERT_EQ(mdb_put(transaction, database, &key_value, &value, 0), 0);
  ASSERT_EQ(mdb_txn_commit(transaction), 0);
  mdb_env_close(environment);
}

// How many entries a key space of a database file has.
std::size_t count_entries(fs::path const& path, char const* space) {
  MDB_env* environment = nullptr;
  EXPECT_EQ(mdb_env_create(&environment), 0);
  EXPECT_EQ(mdb_env_set_maxdbs(environment, 8), 0);
  EXPECT_EQ(mdb_env_open(environment, path.c_str(), MDB_NOSUBDIR, 0600), 0);
  MDB_txn* transaction = nullptr;
  EXPECT_EQ(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction), 0);
  MDB_dbi database = 0;
  EXPECT_EQ(mdb_dbi_open(transaction, space, 0, &database), 0);
  MDB_stat statistics{};
  EXPECT_EQ(mdb_stat(transaction, database, &statistics), 0);
  mdb_txn_abort(transaction);
  mdb_env_close(environment);
  return statistics.ms_entries;
}

struct sample {
  std::uint16_t layout = 0;
  std::uint64_t by_number = 0, extent = 0;
};

// 200 objects, numbered from 0, in four blocks.
sample make_sample(database& database) {
  sample made;
  auto const transaction = database.begin_write();
  made.layout = transaction->create_layout({0, 0, 0, u"A", {kind::unsigned_integer, kind::string}});
  made.by_number = transaction->create_index(
      {0, made.layout, {{3, kind::unsigned_integer, true}}, false, false});
  made.extent = transaction->create_index(
      {0, made.layout, {{own_reference_column, kind::reference, true}}, false, true});
  for (std::uint64_t i = 0; i < 200; ++i) {
    insert(*transaction, made.layout, {unsigned_of(i), text_of(u"text")});
  }
  transaction->commit();
  return made;
}

void flip(std::string& bytes, std::size_t position) {
  bytes.replace(position, 1, 1, static_cast<char>(~bytes.at(position)));
}

std::string block_key(std::uint64_t number) {
  unsigned char key[8];
  put_big_endian(key, number);
  return std::string(reinterpret_cast<char const*>(key), sizeof key);
}

TEST(Files, WhatIsNoDatabaseIsRefusedByNameAndReason) {
  scratch_directory const directory;
  open_options const existing{.create = false};
  auto const make = [&](char const* name) {
    make_sample(*database::open(directory / name));
    return directory / name;
  };
  struct {
    char const* name;
    error_kind kind;
    char const* text;
    open_options options;
    std::function<void(fs::path const&)> prepare;
  } const cases[] = {
      {"missing", error_kind::cannot_open, "No such file", existing, [](fs::path const&) {}},
      {"no/such/directory", error_kind::cannot_open, "No such file", {}, [](fs::path const&) {}},
      {"directory",
       error_kind::not_a_database,
       "not a regular file",
       {},
       [](fs::path const& path) { fs::create_directory(path); }},
      {"empty", error_kind::not_a_database, "not a database", existing,
       [](fs::path const& path) { write_file(path, ""); }},
      {"short",
       error_kind::not_a_database,
       "not a database",
       {},
       [](fs::path const& path) { write_file(path, "x"); }},
      {"text",
       error_kind::not_a_database,
       "not a database",
       {},
       [](fs::path const& path) { write_file(path, std::string(100'000, 'x')); }},
      {"foreign",
       error_kind::not_a_database,
       "another program",
       {},
       [](fs::path const& path) {
         edit_entry(path, "accounts", "k", [](std::string) { return "v"; });
       }},
      {"version",
       error_kind::format_version,
       "its format is 513",
       {},
       [&](fs::path const&) {
         edit_entry(make("version"), "meta", "format",
                    [](std::string) { return std::string("\0\0\0\0\0\0\2\1", 8); });
       }},
  };
  for (auto const& row : cases) {
    SCOPED_TRACE(row.name);
    row.prepare(directory / row.name);
    expect_error(row.kind, row.text, [&] { database::open(directory / row.name, row.options); });
    expect_error(row.kind, row.name, [&] { database::open(directory / row.name, row.options); });
  }
}

TEST(Files, OneFileHasOneLockWhateverItIsCalled) {
  scratch_directory const directory;
  fs::create_symlink(directory / "db", directory / "link");
  expect_error(error_kind::cannot_open, "leads to nothing",
               [&] { database::open(directory / "link"); });
  database::open(directory / "db");
  EXPECT_EQ(database::open(directory / "link")->path().filename(), "db");
  EXPECT_FALSE(fs::exists(directory / "link-lock"));
  fs::create_hard_link(directory / "db", directory / "other");
  expect_error(error_kind::cannot_open, "2 names", [&] { database::open(directory / "db"); });
}

TEST(Files, AReservedSizeThatIsTooGreatIsNamed) {
  scratch_directory const directory;
  expect_error(error_kind::cannot_open, "cannot reserve 140737488355328 bytes of address space",
               [&] { database::open(directory / "db", {.map_bytes = std::uint64_t{1} << 47}); });
}

TEST(Files, AnEmptyFileBecomesADatabase) {
  scratch_directory const directory;
  write_file(directory / "db", "");
  auto const made = database::open(directory / "db");
  EXPECT_TRUE(made->created());
  EXPECT_FALSE(database::open(directory / "db")->created());
  make_sample(*made);
}

TEST(Files, ACutFileIsReportedAndNeverEndsTheProcess) {
  scratch_directory const directory;
  sample const written = make_sample(*database::open(directory / "db"));
  std::uintmax_t const size = fs::file_size(directory / "db");
  int refused = 0;
  for (std::uintmax_t keep = 0; keep < size; keep += 4096) {
    fs::copy_file(directory / "db", directory / "cut", fs::copy_options::overwrite_existing);
    fs::resize_file(directory / "cut", keep + 100);
    try {
      auto const cut = database::open(directory / "cut");
      auto const snapshot = cut->begin_snapshot();
      for (std::uint64_t const index : {written.by_number, written.extent}) {
        std::vector<unsigned char> const key = key_of({});
        unsigned long iterator = 0;
        unsigned int status = vela_context_create_iterator(
            snapshot->handle(), index, both_inclusive, key.data(), key.data(), &iterator);
        VELA_RECORD record{};
        record.oid = 1;
        while (status == status_ok && record.oid != 0) {
          status = vela_iterator_next(iterator, &record);
        }
        EXPECT_THAT(status, testing::AnyOf(status_ok, status_storage, status_unknown_index));
        refused += status != status_ok;
      }
    } catch (error const& met) {
      EXPECT_THAT(met.what(), testing::HasSubstr("cut"));
      ++refused;
    }
  }
  EXPECT_GT(refused, 0);
}

TEST(Files, DamagedBlocksAreReportedAtTheirOwnObjects) {
  scratch_directory const directory;
  struct {
    char const* fault;
    std::function<void(std::string&)> damage;
  } const cases[] = {
      {"no header", [](std::string& image) { image.resize(20); }},
      {"cut in a record", [](std::string& image) { image.resize(200); }},
      {"another block's number", [](std::string& image) { flip(image, 0); }},
      {"an unknown layout", [](std::string& image) { flip(image, 16); }},
      {"too many records", [](std::string& image) { image.replace(18, 1, 1, 100); }},
      {"fewer records than objects", [](std::string& image) { image.replace(18, 1, 1, 10); }},
      {"another size", [](std::string& image) { flip(image, 20); }},
  };
  for (auto const& row : cases) {
    SCOPED_TRACE(row.fault);
    fs::remove(directory / "db");
    sample const written = make_sample(*database::open(directory / "db"));
    edit_entry(directory / "db", "blocks", block_key(2), [&](std::string image) {
      row.damage(image);
      return image;
    });
    auto const damaged = database::open(directory / "db");
    auto const snapshot = damaged->begin_snapshot();
    unsigned long number = 0;
    EXPECT_EQ(vela_context_get_ulong(snapshot->handle(), 130, 0, 3, &number), status_storage);
    EXPECT_EQ(vela_context_get_ulong(snapshot->handle(), 64, 0, 3, &number), status_ok);
    // The walk reads ahead, and yet the 64 good objects before the damage come first.
    std::vector<unsigned char> const key = key_of({});
    unsigned long iterator = 0;
    ASSERT_EQ(vela_context_create_iterator(snapshot->handle(), written.by_number, both_inclusive,
                                           key.data(), key.data(), &iterator),
              status_ok);
    VELA_RECORD record{};
    for (std::uint64_t i = 0; i < 64; ++i) {
      ASSERT_EQ(vela_iterator_next(iterator, &record), status_ok) << i;
      EXPECT_EQ(record.oid, 64 + i);
    }
    EXPECT_EQ(vela_iterator_next(iterator, &record), status_storage);
    EXPECT_EQ(vela_iterator_next(iterator, &record), status_storage);
    EXPECT_EQ(vela_iterator_free(iterator), status_ok);
  }
  // A number that was never given out would make the table of blocks enormous.
  constexpr std::uint64_t far = std::uint64_t{1} << 50;
  fs::remove(directory / "db");
  make_sample(*database::open(directory / "db"));
  edit_entry(directory / "db", "blocks", block_key(far), [](std::string const&) {
    std::string image(32, '\0');
    put(reinterpret_cast<unsigned char*>(image.data()), far);
    image[16] = 1;
    image[20] = 32;
    return image;
  });
  unsigned long number = 0;
  auto const snapshot = database::open(directory / "db")->begin_snapshot();
  EXPECT_EQ(vela_context_get_ulong(snapshot->handle(), far * 64, 0, 3, &number), status_storage);
}

TEST(Files, DamagedSchemasAndTextsAreReported) {
  scratch_directory const directory;
  make_sample(*database::open(directory / "db"));
  fs::copy_file(directory / "db", directory / "texts");
  edit_entry(directory / "db", "meta", "schema",
             [](std::string bytes) { return bytes.substr(0, bytes.size() / 2); });
  auto const schemaless = database::open(directory / "db");
  expect_error(error_kind::storage, "db\": the stored schema is damaged",
               [&] { schemaless->begin_snapshot(); });
  expect_error(error_kind::storage, "db\": the stored schema is damaged",
               [&] { schemaless->begin_write(); });
  // The heap offset of the first object's text, behind header, null bitmap and number.
  edit_entry(directory / "texts", "blocks", block_key(1), [](std::string image) {
    flip(image, 32 + 16 + 2);
    return image;
  });
  auto const texts = database::open(directory / "texts");
  // Another object's texts leave garbage until the block is packed.
  auto const transaction = texts->begin_write();
  expect_error(error_kind::storage, "object 64 is damaged", [&] {
    for (std::size_t i = 0; i < 100; ++i) {
      update(*transaction, 65, 4, text_of(std::u16string(500 + i, u'y')));
    }
  });
  auto const snapshot = texts->begin_snapshot();
  VELA_UCS2 const* text = nullptr;
  EXPECT_EQ(vela_context_get_string(snapshot->handle(), 64, 0, 4, &text), status_storage);
  EXPECT_EQ(vela_context_get_string(snapshot->handle(), 65, 0, 4, &text), status_ok);
}

TEST(Files, AFullDatabaseKeepsWhatWasCommitted) {
  scratch_directory const directory;
  auto const database = database::open(directory / "db", {.map_bytes = std::uint64_t{1} << 20});
  sample const written = make_sample(*database);
  for (bool const long_values : {false, true}) {
    auto const transaction = database->begin_write();
    expect_error(error_kind::map_full, "db", [&] {
      for (std::uint64_t i = 0; i < 200'000; ++i) {
        insert(*transaction, written.layout,
               {unsigned_of(i * 7919 % 100'000),
                text_of(std::u16string(long_values ? 5000 : 50, u'x'))});
      }
      transaction->commit();
    });
    expect_error(error_kind::bad_transaction, "", [&] { transaction->commit(); });
  }
  EXPECT_EQ(scan(database->begin_snapshot()->handle(), written.by_number).size(), 200u);
  auto const transaction = database->begin_write();
  transaction->erase(64);
  transaction->commit();
  EXPECT_EQ(scan(database->begin_snapshot()->handle(), written.extent).size(), 199u);
}

TEST(Files, ASecondWriterWaitsAndThenIsRefused) {
  scratch_directory const directory;
  using std::chrono::milliseconds;
  auto const patient = database::open(directory / "db", {.writer_wait = milliseconds{20'000}});
  auto const hasty = database::open(directory / "db", {.writer_wait = milliseconds{30}});
  auto first = patient->begin_write();
  expect_error(error_kind::writer_busy, "did not end within 30 ms", [&] { hasty->begin_write(); });
  std::thread waiting([&] { make_sample(*patient); });
  std::this_thread::sleep_for(milliseconds{30});
  first->commit();
  waiting.join();
  EXPECT_EQ(hasty->begin_snapshot()->schema().layouts().size(), 1u);
  hasty->begin_write()->roll_back();
}

// The locks of a transaction that ends on a foreign thread cannot be given back. A file, because
// the process keeps it open from then on.
TEST(Files, AWriterThatEndsOnAnotherThreadIsReportedToLaterOnes) {
  scratch_directory const directory;
  auto const database = database::open(directory / "db");
  std::unique_ptr<write_transaction> lost;
  std::atomic<bool> begun{false}, ended{false};
  std::thread owner([&] {
    lost = database->begin_write();
    begun = true;
    while (!ended) std::this_thread::yield();
  });
  while (!begun) std::this_thread::yield();
  lost.reset();
  expect_error(error_kind::writer_busy, "ended by another thread",
               [&] { database->begin_write(); });
  EXPECT_TRUE(database->begin_snapshot()->schema().layouts().empty());
  ended = true;
  owner.join();
}

// Runs `body` in a process of its own. It must not be called while a database is open.
template <typename Body>
pid_t in_child(Body const& body) {
  pid_t const child = fork();
  if (child != 0) return child;
  int result = 1;
  try {
    result = body();
  } catch (std::exception const& met) {
    std::fprintf(stderr, "in the child process: %s\n", met.what());
  }
  _exit(result);
}

struct pipe_ends {
  pipe_ends() { EXPECT_EQ(pipe(ends), 0); }
  ~pipe_ends() {
    close(ends[0]);
    close(ends[1]);
  }
  void send(char byte) const { EXPECT_EQ(write(ends[1], &byte, 1), 1); }
  char receive() const {
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
    return byte;
  }
  int ends[2] = {};
};

TEST(Processes, ReadersOfOneSeeTheCommitsOfTheOtherAndWritersExcludeEachOther) {
  scratch_directory const directory;
  pipe_ends const to_child;
  pipe_ends const from_child;
  pid_t const child = in_child([&] {
    auto const database = database::open(directory / "db");
    sample const written = make_sample(*database);
    auto transaction = database->begin_write();
    insert(*transaction, written.layout, {unsigned_of(1000), null_of(kind::string)});
    from_child.send('w');
    to_child.receive();
    transaction->commit();
    from_child.send('c');
    to_child.receive();
    return 0;
  });
  ASSERT_EQ(from_child.receive(), 'w');
  auto const database = database::open(
      directory / "db", {.create = false, .writer_wait = std::chrono::milliseconds{50}});
  auto const before = database->begin_snapshot();
  std::uint64_t const extent = before->schema().indexes().back()->definition.id;
  EXPECT_EQ(scan(before->handle(), extent).size(), 200u);
  expect_error(error_kind::writer_busy, "another write transaction",
               [&] { database->begin_write(); });
  to_child.send('g');
  ASSERT_EQ(from_child.receive(), 'c');
  EXPECT_EQ(scan(before->handle(), extent).size(), 200u);
  EXPECT_EQ(scan(database->begin_snapshot()->handle(), extent).size(), 201u);
  database->begin_write()->roll_back();
  to_child.send('e');
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(Processes, AChildLeavesItsParentsLocksAlone) {
  scratch_directory const directory;
  auto database = database::open(directory / "db");
  auto writer = database->begin_write();
  auto snapshot = database->begin_snapshot();
  pid_t const child = in_child([&] {
    expect_error(error_kind::cannot_open, "forked off", [&] { database::open(directory / "db"); });
    writer.reset();
    snapshot.reset();
    database.reset();
    return testing::Test::HasFailure() ? 1 : 0;
  });
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  int const file = open((directory / "db").c_str(), O_RDWR);
  EXPECT_EQ(flock(file, LOCK_EX | LOCK_NB), -1) << "the writer has not ended";
  close(file);
  writer->commit();
}

TEST(Processes, AFileThatCannotGrowIsFullAndADatabaseInAStaticObjectClosesAtExit) {
  scratch_directory const directory;
  pid_t const child = fork();
  if (child == 0) {
    static std::shared_ptr<database> kept;
    kept = database::open(directory / "db");
    sample const written = make_sample(*kept);
    signal(SIGXFSZ, SIG_IGN);
    rlimit const limit{1 << 20, 1 << 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    try {
      auto const transaction = kept->begin_write();
      for (std::uint64_t i = 0; i < 5000; ++i) {
        insert(*transaction, written.layout, {unsigned_of(i), text_of(std::u16string(900, u'x'))});
      }
      transaction->commit();
    } catch (error const& met) {
      // Runs the destructors of static objects.
      std::exit(met.kind() == error_kind::map_full &&
                        std::string(met.what()).ends_with("(the disk is full)")
                    ? 0
                    : 1);
    }
    std::exit(2);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(Files, NothingStaysOfDeletedObjectsAndDroppedClasses) {
  scratch_directory const directory;
  {
    auto const database = database::open(directory / "db");
    sample const written = make_sample(*database);
    auto transaction = database->begin_write();
    std::uint16_t const derived =
        transaction->create_layout({0, written.layout, 0, u"AB", {kind::reference, kind::binary}});
    std::uint64_t const by_two = transaction->create_index(
        {0, derived, {{5, kind::reference, true}, {6, kind::binary, true}}, false, false});
    oids objects;
    for (int i = 0; i < 10; ++i) {
      objects.push_back(insert(*transaction, derived,
                               {unsigned_of(1), text_of(std::u16string(3000, u'l')),
                                reference_of(64), binary_of(std::string(2000, 'b'))}));
    }
    transaction->commit();
    transaction = database->begin_write();
    update(*transaction, objects[0], 4, text_of(u"short"));
    update(*transaction, objects[1], 4, null_of(kind::string));
    update(*transaction, objects[2], 6, binary_of(std::string(5000, 'c')));
    update(*transaction, objects[3], 5, null_of(kind::reference));
    transaction->erase(objects[4]);
    transaction->erase(64);
    for (std::uint64_t oid = 65; oid < 64 + 200; ++oid) transaction->erase(oid);
    transaction->commit();
    transaction = database->begin_write();
    // An index that goes before its objects do takes its notes along.
    std::uint64_t const by_reference =
        transaction->create_index({0, derived, {{5, kind::reference, true}}, false, false});
    for (std::uint64_t const id : {by_two, by_reference}) transaction->drop_index(id);
    transaction->drop_layout(derived);
    transaction->commit();
  }
  std::vector<std::string> spaces{"blocks", "long", "extents", "referrers"};
  for (std::size_t i = 0; i < entry_space_count; ++i) {
    spaces.push_back("entries" + std::to_string(i));
  }
  for (std::string const& space : spaces) {
    EXPECT_EQ(count_entries(directory / "db", space.c_str()), 0u) << space;
  }
}

TEST(Files, ATemporaryDatabaseLeavesNothingBehind) {
  fs::path path;
  {
    auto const database = database::open_temporary();
    make_sample(*database);
    path = database->path();
  }
  EXPECT_FALSE(fs::exists(path.parent_path()));
}

}  // namespace
}  // namespace qd::coredb::test
