// Whole queries on this project and on the engines that people use today: the same rows, the same
// questions, one run, one core, one thread.
#include <sched.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>
#include <thread>

#include "queries/report.h"

namespace bench {

namespace {

struct options {
  std::int64_t t_rows = 1'000'000;
  std::int64_t u_rows = 100'000;
  int repetitions = 5;
  bool quick = false;
  bool scaling = false;
  bool plans = false;
  bool own_only = false;
  std::vector<std::string> only;
  std::string markdown;
  std::string chart;
};

// A directory for the rows as CSV, removed at the end.
class scratch_directory {
 public:
  scratch_directory() {
    std::string name = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("cannot make a directory for the rows");
    path_ = name;
  }
  ~scratch_directory() {
    std::error_code ignored;  // Nothing depends on what is left behind.
    std::filesystem::remove_all(path_, ignored);
  }
  scratch_directory(scratch_directory const&) = delete;
  scratch_directory& operator=(scratch_directory const&) = delete;

  std::filesystem::path t() const { return path_ / "t.csv"; }
  std::filesystem::path u() const { return path_ / "u.csv"; }

 private:
  std::filesystem::path path_;
};

void pin_to_one_core() {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(std::thread::hardware_concurrency() - 1, &one);
  if (sched_setaffinity(0, sizeof one, &one) != 0) std::cerr << "Not pinned to one core.\n";
}

std::string processor() {
  std::ifstream information("/proc/cpuinfo");
  std::string line;
  while (std::getline(information, line)) {
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  }
  return "unknown processor";
}

bool chosen(options const& wanted, workload const& work) {
  return wanted.only.empty() ||
         std::find(wanted.only.begin(), wanted.only.end(), work.name) != wanted.only.end();
}

using engines = std::vector<std::unique_ptr<engine>>;

engines make_engines(bool own_only) {
  engines list;
  list.push_back(make_own_engine());
  if (own_only) return list;
  list.push_back(make_sqlite_engine());
  if (std::unique_ptr<engine> duckdb = make_duckdb_engine()) list.push_back(std::move(duckdb));
  return list;
}

void load(engines& list, tables const& data, std::vector<std::string> const& indexes) {
  scratch_directory const scratch;
  write_csv(data, scratch.t(), scratch.u());
  for (auto const& one : list) {
    std::cerr << "loading " << one->name() << "\n";
    one->load(data, scratch.t(), scratch.u(), indexes);
  }
}

// Runs one question on all engines. Throws when they do not give the same rows.
report_line answer(workload const& work, engines& list, tables const& data, options const& wanted) {
  std::cerr << work.name << ' ' << work.title << '\n';
  std::vector<contender> contenders;
  for (auto const& one : list) contenders.emplace_back(work, *one, data);

  // Compared before anything is timed, which warms up as well.
  std::vector<row> const expected = contenders[0].rows();
  for (contender& one : contenders) {
    std::vector<row> found = one.rows();
    if (work.in_order && !work.in_order(data, found)) {
      throw std::runtime_error(work.name + ": " + one.of().name() + " gives rows out of order");
    }
    std::string difference;
    if (!same_rows(expected, std::move(found), difference)) {
      throw std::runtime_error(work.name + ": " + list[0]->name() + " and " + one.of().name() +
                               " differ: " + difference);
    }
  }
  for (int i = 0; i < wanted.repetitions; ++i) {
    for (contender& one : contenders) one.time();
  }
  report_line line{&work, {}, {}};
  for (contender& one : contenders) {
    one.weigh();
    line.engines.push_back(one.of().name());
    line.measurements.push_back(one.result());
    if (wanted.plans) std::cerr << one.of().name() << ":\n" << one.result().plan << '\n';
  }
  return line;
}

void compare(options const& wanted) {
  tables const data = make_tables(wanted.t_rows, wanted.u_rows);
  engines list = make_engines(wanted.own_only);
  load(list, data, all_indexes());
  report result;
  result.circumstances.push_back(processor() + ", one core, one thread");
  result.circumstances.push_back("compiler " __VERSION__ ", flags " QD_COMPILER_FLAGS);
  std::string versions;
  for (auto const& one : list) {
    versions += (versions.empty() ? "" : ", ") + one->name() + ' ' + one->version();
  }
  result.circumstances.push_back(versions);
  result.circumstances.push_back(std::to_string(wanted.t_rows) + " rows in T, " +
                                 std::to_string(wanted.u_rows) + " rows in U, median of " +
                                 std::to_string(wanted.repetitions) + " runs in turn");
  for (workload const& work : all_workloads()) {
    if (chosen(wanted, work)) result.lines.push_back(answer(work, list, data, wanted));
  }
  print_table(result, std::cout);
  if (!wanted.markdown.empty()) {
    std::ofstream file(wanted.markdown);
    print_markdown(result, file);
  }
  if (!wanted.chart.empty()) {
    std::ofstream file(wanted.chart);
    draw_chart(result, file);
  }
}

double own_nanoseconds(std::string const& name, std::int64_t t_rows, std::int64_t u_rows,
                       std::vector<std::string> const& indexes, options wanted) {
  tables const data = make_tables(t_rows, u_rows);
  engines list = make_engines(true);
  load(list, data, indexes);
  for (workload const& work : all_workloads()) {
    if (work.name == name) {
      return answer(work, list, data, wanted).measurements[0].nanoseconds_per_unit();
    }
  }
  throw std::logic_error("there is no question " + name);
}

// How the cost of a row grows with ten times as many rows.
void scale(options const& wanted) {
  for (std::string const name : {"W1", "W7"}) {
    double const small = own_nanoseconds(name, wanted.t_rows, 1000, {}, wanted);
    double const large = own_nanoseconds(name, wanted.t_rows * 10, 1000, {}, wanted);
    std::cout << name << ": " << small << " ns per row of " << wanted.t_rows << ", " << large
              << " ns per row of " << wanted.t_rows * 10 << ", " << large / small
              << " times (goal 1.3)\n";
  }
  std::vector<std::string> const join_indexes = {"T(id)", "U(id)"};
  double const small = own_nanoseconds("W5", wanted.t_rows, wanted.u_rows, join_indexes, wanted);
  double const large =
      own_nanoseconds("W5", wanted.t_rows, wanted.u_rows * 10, join_indexes, wanted);
  std::cout << "W5: " << small << " ns per left row beside " << wanted.u_rows << " right rows, "
            << large << " beside " << wanted.u_rows * 10 << ", " << large / small
            << " times (goal 2)\n";
}

}  // namespace

}  // namespace bench

int main(int argument_count, char** arguments) {
  bench::options wanted;
  CLI::App program("Whole queries beside SQLite and DuckDB");
  program.add_option("--rows", wanted.t_rows, "rows of table T");
  program.add_option("--right-rows", wanted.u_rows, "rows of table U");
  program.add_option("--repetitions", wanted.repetitions, "timed runs of each question");
  program.add_option("--only", wanted.only, "questions, such as W3 (all if not given)");
  program.add_option("--markdown", wanted.markdown, "also write the table to this file");
  program.add_option("--chart", wanted.chart, "also draw the chart, as SVG, in this file");
  program.add_flag("--plans", wanted.plans, "print how each engine goes about it");
  program.add_flag("--own-only", wanted.own_only, "leave the other engines out");
  program.add_flag("--scaling", wanted.scaling, "how the cost of a row grows with the rows");
  program.add_flag("--quick", wanted.quick, "few rows: tests the harness, times mean nothing");
  CLI11_PARSE(program, argument_count, arguments);
  if (wanted.quick) {
    wanted.t_rows = 5000;
    wanted.u_rows = 3000;
    wanted.repetitions = 1;
  }
  try {
    bench::pin_to_one_core();
    if (wanted.scaling) {
      bench::scale(wanted);
    } else {
      bench::compare(wanted);
    }
  } catch (std::exception const& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
