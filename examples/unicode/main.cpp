// Loads the Unicode Character Database into an embedded object database and queries it.
#include <exception>
#include <iostream>

#include "db_util/db_exception.h"
#include "loader.h"
#include "options.h"
#include "physical_queryplan/plan_printer.h"
#include "progress_line.h"
#include "queries.h"
#include "query_run.h"
#include "schema.h"
#include "table_printer.h"

namespace {

using namespace unicode_demo;  // NOLINT: this is its program

void load_unless_loaded(qd::embedded::database& data, options const& chosen) {
  if (!chosen.reload && is_loaded(data.begin_snapshot())) {
    std::cout << "Reusing the database loaded before: " << chosen.database.string()
              << " (--reload loads again)\n";
    return;
  }
  std::cout << "Loading " << chosen.data.string() << " into " << chosen.database.string()
            << std::endl;
  progress_line line;
  load(data, chosen.data, [&](std::string_view stage, std::size_t done, std::size_t total) {
    line.show(stage, done, total);
  });
}

void run(std::size_t number, example_query const& query, unsigned long kernel_context,
         std::size_t rows) {
  std::cout << "\n" << number << ". " << query.title << "\n\n" << query.sql << "\n\n";
  physical_queryplan::QueryPlan::PredicateVariant plan = query.plan();
  std::cout << physical_queryplan::Print(plan) << '\n';
  query_result const result = run_query(std::move(plan), query.parameters, kernel_context, rows);
  print_result(std::cout, query.columns, result);
}

int run_program(options const& chosen) {
  std::vector<example_query> const queries = example_queries();
  if (chosen.list) {
    for (std::size_t i = 0; i < queries.size(); ++i) {
      std::cout << i + 1 << ". " << queries[i].title << '\n';
    }
    return 0;
  }
  if (chosen.query && (*chosen.query == 0 || *chosen.query > queries.size())) {
    throw usage_error("--query: there are queries 1 to " + std::to_string(queries.size()));
  }
  if (chosen.database.has_parent_path()) {
    std::filesystem::create_directories(chosen.database.parent_path());
  }
  auto data = qd::embedded::database::open(chosen.database);
  load_unless_loaded(data, chosen);

  auto snapshot = data.begin_snapshot();
  auto const binding = snapshot.bind();
  for (std::size_t i = 0; i < queries.size(); ++i) {
    if (chosen.query && *chosen.query != i + 1) continue;
    run(i + 1, queries[i], snapshot.context(), chosen.rows);
  }
  return 0;
}

}  // namespace

int main(int argument_count, char** arguments) {
  try {
    options const chosen = parse_options(argument_count, arguments);
    if (chosen.help) {
      std::cout << usage;
      return 0;
    }
    return run_program(chosen);
  } catch (usage_error const& error) {
    std::cerr << "unicode_demo: " << error.what() << "\n\n" << usage;
    return 2;
  } catch (std::exception const& error) {
    std::cerr << "unicode_demo: " << error.what() << '\n';
  } catch (db_util::db_exception const& error) {
    std::cerr << "unicode_demo: database status " << error.code << '\n';
  }
  return 1;
}
