// The embedded object database: open one, define classes and indexes, write objects, and bind
// snapshots to threads so that plans run over them.
//
//     auto data = qd::embedded::database::open("people.qdb");
//     auto write = data.begin_write();
//     write.define_class({.name = u"hr.Person",
//                         .columns = {{.name = u"name", .type = column_type::string},
//                                     {.name = u"boss", .type = column_type::reference,
//                                      .referenced_class = u"hr.Person"}}});
//     write.define_index({.name = u"hr.Person.by_name", .class_name = u"hr.Person",
//                         .columns = {{.name = u"name"}}});
//     auto const ada = write.insert(u"hr.Person", {{u"name", u"Ada"}});
//     write.insert(u"hr.Person", {{u"name", u"Bob"}, {u"boss", ada}});
//     write.commit();
//
//     auto snapshot = data.begin_snapshot();
//     auto binding = snapshot.bind();     // This thread now plans and reads through the snapshot.
//     evaluation.kernel_context = snapshot.context();
//
// Every class has three system columns before its own: 0 the object's own reference, 1 its set
// specifier, 2 its class's reference; and an index over its objects and those of derived classes in
// the order of their ids, named after it with ".extent" appended.
//
// Errors are embedded::error (dbmetalayer/error.h). Names are UTF-16, compared unit by unit.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "dbmetalayer/class_description.h"
#include "dbmetalayer/error.h"
#include "dbmetalayer/export.h"
#include "dbmetalayer/value.h"
#include "kernel/obj_ref.h"

namespace qd::embedded {

struct column_definition {
  std::u16string name;  // Without dots; unique within the class and its bases.
  column_type type = column_type::string;
  bool nullable = true;
  std::u16string referenced_class = {};  // Of a reference; its full name, or the class's own.
  // Of a reference: the column of the referenced class by whose values callers look objects up when
  // rows come in as texts; empty: none. Only kept and described, never used here.
  std::u16string lookup_column = {};
};

struct class_definition {
  std::u16string name;       // Full and dotted, such as u"unicode.CodePoint".
  std::u16string base = {};  // Full name; empty: derived from no class of the user's.
  std::vector<column_definition> columns = {};  // They follow the base's.
};

struct index_column {
  std::u16string
      name;  // A column of the class; inherited and system columns have their names, too.
  bool ascending = true;
};

// Names of the system columns.
inline constexpr std::u16string_view own_reference_name = u"$self";
inline constexpr std::u16string_view set_specifier_name = u"$set_specifier";
inline constexpr std::u16string_view class_reference_name = u"$class";

struct index_definition {
  std::u16string name;        // Unique among all indexes.
  std::u16string class_name;  // Objects of derived classes are in the index, too.
  std::vector<index_column> columns;
  // Refuses two objects with equal keys; keys with a NULL in them are equal to none. Many objects
  // whose keys agree in their first 490 bytes or so are slow to insert into a unique index, and
  // slow to walk in any: they are told apart by reading each of them.
  bool unique = false;
};

struct open_options {
  bool create = true;  // Create the database when nothing is at the path.
  // Greatest possible size. Takes address space only, and cannot change while the database is open.
  // Once another process has made the file greater, every begin_ reports `full` until this one
  // opens it again with a greater capacity.
  std::uint64_t capacity_bytes = std::uint64_t{32} << 30;
  // How long begin_write waits for the write transaction of another thread or process to end.
  std::chrono::milliseconds writer_wait{10'000};
};

// Makes a context the calling thread's: the thread's metadata context, which name lookups and
// catalogue handles read through, and the owner of the kernel context. Bindings of one thread end
// in the reverse order of their beginning; the context outlives its binding.
class QD_EMBEDDED_API thread_binding {
 public:
  ~thread_binding();
  thread_binding(thread_binding&& other) noexcept;
  thread_binding(thread_binding const&) = delete;
  thread_binding& operator=(thread_binding const&) = delete;

 private:
  friend class read_context;
  struct state;
  explicit thread_binding(unsigned long context);

  std::unique_ptr<state> state_;
};

class description_cache;

// What snapshots and transactions have in common: a kernel context to read through. One thread uses
// a context at a time.
class QD_EMBEDDED_API read_context {
 public:
  // The kernel context handle, for an evaluation_context and for the vela_ functions.
  unsigned long context() const { return context_; }

  [[nodiscard]] virtual thread_binding bind() = 0;

  // Catalogue records by full name, to build meta_data handles from. They throw unknown_name.
  QD_OBJ_REF class_reference(std::u16string_view class_name) const;
  QD_OBJ_REF index_reference(std::u16string_view index_name) const;
  QD_OBJ_REF column_reference(std::u16string_view class_name, std::u16string_view column) const;
  bool has_class(std::u16string_view class_name) const;
  bool has_index(std::u16string_view index_name) const;
  // Full names of the user's classes, in the order of their definition.
  std::vector<std::u16string> class_names() const;

  // A class by its full name, which throws unknown_name, or by its catalogue record, which throws
  // unknown_object. What was described once is kept for all contexts that see the same schema, so
  // that further calls take less than a microsecond.
  std::shared_ptr<class_description const> describe_class(std::u16string_view class_name) const;
  std::shared_ptr<class_description const> describe_class(QD_OBJ_REF const& class_record) const;
  // Counts the committed changes of classes and indexes: snapshots of one database with equal
  // numbers see the same classes and indexes. A transaction that has changed some has the number
  // that its commit would give, which says nothing about other contexts.
  virtual std::uint64_t schema_version() const = 0;

  // The objects of a class and of all classes derived from it; the entries of an index, which holds
  // one for every object of its class, whether its columns are NULL or not. Both are kept as
  // numbers, exact and cheap to read; a transaction counts its own changes, those of a bulk insert
  // that is not finished yet included. By name they throw unknown_name.
  std::uint64_t object_count(std::u16string_view class_name) const;
  std::uint64_t object_count(class_description const& of_class) const;
  std::uint64_t entry_count(std::u16string_view index_name) const;
  std::uint64_t entry_count(index_description const& index) const;

  // From any thread: the next iterator step or column read of this context reports that it was
  // stopped, until clear_stop.
  void request_stop() const noexcept;
  void clear_stop() const noexcept;

  read_context(read_context const&) = delete;
  read_context& operator=(read_context const&) = delete;

 protected:
  explicit read_context(unsigned long context) : context_(context) {}
  read_context(read_context&& other) noexcept = default;
  virtual ~read_context() = default;

  // Makes the calling thread the owner of the kernel context.
  thread_binding bind_context() const { return thread_binding(context_); }

  unsigned long context_;

 private:
  virtual description_cache& descriptions() const = 0;
};

// The same with nothing but the handle, which need not be open any more: false when it is not.
QD_EMBEDDED_API bool request_stop(unsigned long context) noexcept;
QD_EMBEDDED_API bool clear_stop(unsigned long context) noexcept;

// Everything committed when it began, and nothing later: objects, classes and indexes.
class QD_EMBEDDED_API snapshot final : public read_context {
 public:
  ~snapshot() override;
  snapshot(snapshot&& other) noexcept;

  // Hands the snapshot to the calling thread, and binds it there. No other thread may use it.
  [[nodiscard]] thread_binding bind() override;
  std::uint64_t schema_version() const override;

  // Reads everything that the snapshot sees: every block and value, every index entry beside its
  // object and the other way round, the counts, and the catalogue beside what the storage knows.
  // Returns what contradicts something else as texts that name the index and the object, no more
  // than `most`; none when all is sound. Throws stopped as soon as the snapshot is asked to stop.
  std::vector<std::string> check(std::size_t most = 100) const;

 private:
  friend class database;
  struct state;
  description_cache& descriptions() const override;
  explicit snapshot(std::unique_ptr<state> begun);

  std::unique_ptr<state> state_;
};

class inserter;
class bulk_inserter;

// The one write transaction. It sees its own changes and stays with the thread that began it. When
// it is destroyed without a commit, it is rolled back; on another thread, that makes every later
// begin_write fail with writer_busy until the process ends. Strings and binaries of more than about
// a kilobyte stay in memory until the commit: write many of them in several transactions.
class QD_EMBEDDED_API transaction final : public read_context {
 public:
  ~transaction() override;
  transaction(transaction&& other) noexcept;

  [[nodiscard]] thread_binding bind() override;
  std::uint64_t schema_version() const override;

  void define_class(class_definition const& definition);
  // Classes that refer to one another; bases stand before the classes derived from them.
  void define_classes(std::span<class_definition const> definitions);
  // Enters the objects that are there already.
  void define_index(index_definition const& definition);
  // With all its objects and indexes. Refused while a class derives from it, or another class has
  // a column that refers to it.
  void drop_class(std::u16string_view class_name);
  // Refused for an extent.
  void drop_index(std::u16string_view index_name);

  // Columns that are not listed are NULL.
  object_id insert(std::u16string_view class_name, std::span<column_value const> columns);
  object_id insert(std::u16string_view class_name, std::initializer_list<column_value> columns);
  // Inserts many objects of a class, each given as values in the order of `columns`; without names,
  // all columns of the class, inherited ones first.
  inserter prepare_insert(std::u16string_view class_name,
                          std::span<std::u16string_view const> columns);
  inserter prepare_insert(std::u16string_view class_name,
                          std::initializer_list<std::u16string_view> columns = {});

  // Inserts many objects of a class whose index entries are made at the end, sorted: several times
  // as fast as prepare_insert where the class has indexes. See bulk_inserter.
  bulk_inserter prepare_bulk_insert(std::u16string_view class_name,
                                    std::span<std::u16string_view const> columns);
  bulk_inserter prepare_bulk_insert(std::u16string_view class_name,
                                    std::initializer_list<std::u16string_view> columns = {});

  // Sets `count` consecutive ids aside for objects of the class and returns the first, so that
  // objects can be referred to before they are inserted. A reference to an id that stays unused
  // reads as NULL. `count` is between 1 and 2^32; ids that are passed over cost every later
  // snapshot a byte of memory for 4096 of them.
  object_id reserve_oids(std::u16string_view class_name, std::uint64_t count);

  void update(object_id object, std::span<column_value const> columns);
  void update(object_id object, std::initializer_list<column_value> columns);
  // References to the object read as NULL from then on.
  void erase(object_id object);

  // Ends the transaction. When commit throws, nothing was committed.
  void commit();
  void roll_back() noexcept;

 private:
  friend class database;
  friend class inserter;
  struct state;
  description_cache& descriptions() const override;
  explicit transaction(std::shared_ptr<state> begun);

  std::shared_ptr<state> state_;
};

// Inserts objects of one class as fast as the storage takes them. Ends with its transaction, and
// when a class is dropped.
class QD_EMBEDDED_API inserter {
 public:
  ~inserter();
  inserter(inserter&& other) noexcept;
  inserter& operator=(inserter&& other) noexcept;

  // `row` has one value per prepared column.
  object_id insert(std::span<value const> row);
  object_id insert(std::initializer_list<value> row);
  // Under an id that reserve_oids set aside for the class in this transaction. When its object is
  // erased, the id is not used again.
  void insert_reserved(object_id object, std::span<value const> row);
  void insert_reserved(object_id object, std::initializer_list<value> row);

 protected:
  friend class transaction;
  struct state;
  explicit inserter(std::unique_ptr<state> prepared);

  std::unique_ptr<state> state_;
};

// A row of a bulk insert that a unique index refused.
struct duplicate_row {
  object_id refused;   // The id that its object had.
  object_id existing;  // The object that has the key.
  std::u16string index_name;
  std::string text;  // Names the class, the columns, the value that both share, and the index.
};

// An insert of many objects of one class, into a transaction that has no other bulk insert open.
//
// Until `finish`, the objects stand in no index but the extent: reads through the others do not
// see them. Other reads do, and they can be referred to, updated and erased. What a row's values
// break is refused at once, as by any inserter, and the next row may follow; equal keys in unique
// indexes are found by `finish`. Meanwhile classes and indexes are neither defined nor dropped and
// the transaction cannot be committed: either call throws bad_transaction. A bulk_inserter that is
// gone without `finish` or `abandon` leaves it so, and only a roll-back ends the transaction.
class QD_EMBEDDED_API bulk_inserter final : public inserter {
 public:
  // Makes the index entries and ends the bulk insert. Rows with a key that a unique index has
  // already are removed again and reported, in the order of their ids; of rows that want one key,
  // the one with the lowest id stays. (References to removed rows become NULL.) It holds 32 bytes
  // and the key of one index for each of at most 1,048,576 rows at a time. When it throws, the
  // transaction can only be rolled back.
  std::vector<duplicate_row> finish();
  // Removes the rows and ends the bulk insert; the transaction goes on.
  void abandon();

 private:
  friend class transaction;
  using inserter::inserter;
};

// An open database. Copies share it; it closes with the last of them and of what they began. All
// members may be called from any thread. A process forked off must neither use nor open again what
// its parent has open; what it destroys of that stays as it is for the parent.
class QD_EMBEDDED_API database {
 public:
  // `path` is a file; a second file beside it, with "-lock" appended, coordinates processes.
  // Symbolic links are followed; a file with several hard links is refused, and nothing may rename
  // it while it is open.
  static database open(std::filesystem::path const& path, open_options const& options = {});
  // A database of this process alone, removed when it closes.
  static database open_temporary(open_options const& options = {});

  database(database const& other);
  database& operator=(database const& other);
  ~database();

  // Whether opening created the database.
  bool created() const;
  std::filesystem::path const& path() const;

  snapshot begin_snapshot();
  // Waits for another write transaction to end, up to open_options::writer_wait.
  transaction begin_write();

 private:
  struct state;
  explicit database(std::shared_ptr<state> opened);

  std::shared_ptr<state> state_;
};

}  // namespace qd::embedded
