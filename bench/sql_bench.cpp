// What SQL costs above the library: preparing a statement, a prepared point query beside the kernel
// calls that it makes, loading a file.
//
// QD_BENCH_ROWS in the environment sets how many rows there are (100,000 without it; figures to
// quote want 1,000,000).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <bit>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "dbmetalayer/database.h"
#include "kernel/vela.h"
#include "sql/connection.h"

namespace {

using qd::sql::connection;
using qd::sql::statement;

long row_count() {
  char const* const text = std::getenv("QD_BENCH_ROWS");
  long const count = text ? std::strtol(text, nullptr, 10) : 100'000;
  if (count <= 0) throw std::invalid_argument("QD_BENCH_ROWS must be a number above 0");
  return count;
}

// A directory for the database and the file to load, gone at the end.
struct directory {
  directory() {
    std::string name = (std::filesystem::temp_directory_path() / "qd-bench-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory");
    path = name;
  }
  ~directory() {
    std::error_code problem;
    std::filesystem::remove_all(path, problem);
    if (problem) std::fprintf(stderr, "%s: %s\n", path.c_str(), problem.message().c_str());
  }
  std::filesystem::path path;
};

struct sample {
  sample() : data(connection::open(files.path / "data")) {
    data.execute(
        "CREATE TABLE country (code text NOT NULL UNIQUE, name text);"
        "CREATE TABLE city (id bigint NOT NULL UNIQUE, name text, country country, "
        "inhabitants bigint);"
        "CREATE INDEX city_name ON city (name);"
        "INSERT INTO country VALUES ('CH', 'Switzerland'), ('AT', 'Austria')");
    data.execute("BEGIN");
    statement insert = data.prepare(
        "INSERT INTO city SELECT $1, $2, c, 1000 * $1 FROM country c WHERE c.code = 'CH'");
    for (long i = 0; i < 10'000; ++i) {
      insert.bind(1, i);
      insert.bind_text(2, "city number " + std::to_string(i));
      insert.step();
      insert.reset();
    }
    data.execute("COMMIT");
  }

  directory files;
  connection data;
};

sample& shared_sample() {
  static sample made;
  return made;
}

void prepare_point_query(benchmark::State& state) {
  connection& data = shared_sample().data;
  for (auto _ : state) {
    statement const query = data.prepare("SELECT name FROM city WHERE id = 4711");
    benchmark::DoNotOptimize(&query);
  }
}
BENCHMARK(prepare_point_query);

void prepare_two_tables(benchmark::State& state) {
  connection& data = shared_sample().data;
  for (auto _ : state) {
    statement const query = data.prepare(
        "SELECT c.name, k.name, c.inhabitants + 1 FROM city c JOIN country k ON c.country = k "
        "WHERE k.code = $1 AND c.inhabitants BETWEEN 1000 AND 2000000 AND c.name LIKE 'city%' "
        "ORDER BY c.name LIMIT 10");
    benchmark::DoNotOptimize(&query);
  }
}
BENCHMARK(prepare_two_tables);

// From bind to row and back to ready.
void point_query(benchmark::State& state) {
  connection& data = shared_sample().data;
  statement query = data.prepare("SELECT name FROM city WHERE id = $1");
  long id = 0;
  for (auto _ : state) {
    query.bind(1, id++ % 10'000);
    if (!query.step()) throw std::runtime_error("a row is missing");
    benchmark::DoNotOptimize(query.row().data());
    query.reset();
  }
}
BENCHMARK(point_query);

// The kernel calls that the point query makes: a snapshot, an iterator over one key, its one step,
// the read of the name.
void point_query_kernel_calls(benchmark::State& state) {
  auto data = qd::embedded::database::open(shared_sample().files.path / "data");
  auto const described = data.begin_snapshot().describe_class(u"city");
  unsigned long index = 0;
  for (auto const& each : described->indexes) {
    if (each.name == u"city_id_key") index = each.kernel_id;
  }
  auto const check = [](unsigned int status) {
    if (status != 0) throw std::runtime_error("kernel status " + std::to_string(status));
  };
  long id = 0;
  for (auto _ : state) {
    auto const snapshot = data.begin_snapshot();
    unsigned char key[16] = {0x28};
    // Signed keys are big-endian, plus 2^63.
    unsigned long const biased = static_cast<unsigned long>(id++ % 10'000) + (1UL << 63);
    for (int byte = 0; byte < 8; ++byte) {
      key[1 + byte] = static_cast<unsigned char>(biased >> (56 - 8 * byte));
    }
    key[9] = 0xC0;
    unsigned long iterator = 0;
    check(vela_context_create_iterator(snapshot.context(), index,
                                       VELA_ITERATE_FIRST_INCLUSIVE | VELA_ITERATE_LAST_INCLUSIVE,
                                       key, key, &iterator));
    VELA_RECORD record{};
    check(vela_iterator_next(iterator, &record));
    VELA_VALUE name{};
    check(vela_context_get_binary(snapshot.context(), record.oid,
                                  record.address << 16 | record.layout, 4, &name));
    benchmark::DoNotOptimize(name);
    check(vela_iterator_free(iterator));
  }
}
BENCHMARK(point_query_kernel_calls);

// Ten columns, four of them texts, one index.
void copy_from(benchmark::State& state) {
  directory const files;
  std::filesystem::path const csv = files.path / "load.csv";
  long const rows = row_count();
  {
    std::ofstream out(csv);
    for (long i = 0; i < rows; ++i) {
      long const scrambled =
          static_cast<long>(static_cast<unsigned long>(i) * 0x9E3779B97F4A7C15 >> 30);
      out << i << ',' << scrambled << ",first text " << i << ",\"second, text\",third text "
          << scrambled << ",fourth," << i % 100 << '.' << i % 7 << ',' << i << ".25,true," << i * 3
          << '\n';
    }
  }
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::path const path = files.path / "data";
    std::filesystem::remove(path);
    std::filesystem::remove(files.path / "data-lock");
    {
      connection data = connection::open(path);
      data.execute(
          "CREATE TABLE t (a bigint, b bigint, c text, d text, e text, f text, g numeric, "
          "h double precision, i boolean, j unsigned); CREATE INDEX t_b ON t (b)");
      state.ResumeTiming();
      data.execute("COPY t FROM '" + csv.string() + "' (FORMAT csv)");
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * rows);
}
BENCHMARK(copy_from)->Unit(benchmark::kMillisecond);

}  // namespace
