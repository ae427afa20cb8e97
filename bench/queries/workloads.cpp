#include "queries/workloads.h"

#include <algorithm>
#include <random>

namespace bench {

namespace {

double all_rows(tables const& data, std::size_t, std::uint64_t) {
  return static_cast<double>(data.t.size());
}
double rows_out(tables const&, std::size_t, std::uint64_t rows) {
  return static_cast<double>(std::max<std::uint64_t>(rows, 1));
}
double executions_done(tables const&, std::size_t executions, std::uint64_t) {
  return static_cast<double>(executions);
}
double outer_rows(tables const& data, std::size_t, std::uint64_t) {
  return static_cast<double>(data.t.size()) / 10;
}

std::int64_t share(tables const& data, double fraction) {
  return static_cast<std::int64_t>(static_cast<double>(data.t.size()) * fraction);
}

std::vector<parameters> once(parameters values) {
  return {std::move(values)};
}

// Values of k that exist, in random order.
std::vector<parameters> lookups(tables const& data) {
  std::mt19937_64 random(7);
  std::vector<parameters> values(std::min<std::size_t>(100'000, data.t.size()));
  for (parameters& one : values) one = {data.t[random() % data.t.size()].k};
  return values;
}

std::int64_t integer(row const& current, std::size_t column) {
  return std::get<std::int64_t>(current[column]);
}

bool ascending_k(tables const&, std::vector<row> const& rows) {
  return std::is_sorted(rows.begin(), rows.end(), [](row const& left, row const& right) {
    return integer(left, 0) < integer(right, 0);
  });
}

// Every id once, by name with NULLs first, then by k downwards.
bool by_name_and_k(tables const& data, std::vector<row> const& rows) {
  return std::is_sorted(rows.begin(), rows.end(), [&](row const& left, row const& right) {
    t_row const& first = data.t[static_cast<std::size_t>(integer(left, 0))];
    t_row const& second = data.t[static_cast<std::size_t>(integer(right, 0))];
    if (first.name != second.name) return first.name < second.name;
    return first.k > second.k;
  });
}

bool in_order_of_ids(tables const&, std::vector<row> const& rows) {
  return ascending_k({}, rows);
}

std::vector<workload> make_workloads() {
  std::vector<workload> list;
  list.push_back({.name = "W1",
                  .title = "all rows: id, k, name",
                  .sql = "SELECT id, k, name FROM T",
                  .unit = "row",
                  .units = all_rows,
                  .duckdb_goal = 2});
  list.push_back({.name = "W2",
                  .title = "k > ? and ratio < ?, 10 % pass: id, name",
                  .sql = "SELECT id, name FROM T WHERE k > $1 AND ratio < $2",
                  .words = {.own = "SELECT id, name FROM T WHERE k + 0 > $1 AND ratio < $2",
                            .sqlite = "SELECT id, name FROM T WHERE +k > $1 AND ratio < $2",
                            .reason = "half of the rows through an index cost more than all rows"},
                  .unit = "row",
                  .units = all_rows,
                  .executions =
                      [](tables const& data) {
                        return once({share(data, 0.5), 0.2 / 0.95});
                      },
                  .duckdb_goal = 3});
  list.push_back({.name = "W3",
                  .title = "100,000 lookups k = ?, one prepared plan: id, name",
                  .sql = "SELECT id, name FROM T WHERE k = $1",
                  .unit = "lookup",
                  .units = executions_done,
                  .executions = lookups,
                  .duckdb_executions = 300,
                  .duckdb_goal = 1});
  list.push_back({.name = "W4",
                  .title = "k between ? and ? (10 %), ordered by k: k, price",
                  .sql = "SELECT k, price FROM T WHERE k BETWEEN $1 AND $2 ORDER BY k",
                  .unit = "row out",
                  .units = rows_out,
                  .executions =
                      [](tables const& data) {
                        return once({share(data, 0.3), share(data, 0.4)});
                      },
                  .in_order = ascending_k,
                  .duckdb_goal = 2});
  list.push_back({.name = "W5",
                  .title = "a tenth of T joined to U by id, half match: id, label",
                  .sql = "SELECT t.id, u.label FROM T t JOIN U u ON u.id = t.uref WHERE t.id < $1",
                  .unit = "outer row",
                  .units = outer_rows,
                  .executions = [](tables const& data) { return once({share(data, 0.1)}); }});
  list.push_back(
      {.name = "W6",
       .title = "the same, left join",
       .sql = "SELECT t.id, u.label FROM T t LEFT JOIN U u ON u.id = t.uref WHERE t.id < $1",
       .unit = "outer row",
       .units = outer_rows,
       .executions = [](tables const& data) { return once({share(data, 0.1)}); }});
  list.push_back(
      {.name = "W7",
       .title = "by grp: count(*), sum(k), avg(price), min(name), max(ratio)",
       .sql = "SELECT grp, count(*), sum(k), avg(price), min(name), max(ratio) FROM T GROUP BY grp",
       .words = {.duckdb = "SELECT grp, count(*), sum(k)::BIGINT, avg(price), min(name), "
                           "max(ratio) FROM T GROUP BY grp",
                 .reason = "its sum is 128 bits wide"},
       .unit = "row",
       .units = all_rows,
       .duckdb_goal = 4});
  list.push_back({.name = "W8",
                  .title = "sum(price*(1-disc)*(1+tax)), avg(ratio), count(*), min(k), max(k)",
                  .sql = "SELECT sum(price * (1 - disc) * (1 + tax)), avg(ratio), count(*), "
                         "min(k), max(k) FROM T",
                  .words = {.duckdb = "SELECT sum(price * (1 - disc) * (1 + tax))::DOUBLE, "
                                      "avg(ratio), count(*), min(k), max(k) FROM T",
                            .reason = "its exact sum is 128 bits wide"},
                  .unit = "row",
                  .units = all_rows,
                  .duckdb_goal = 7});
  list.push_back({.name = "W9",
                  .title = "all ids ordered by name nulls first, k desc",
                  .sql = "SELECT id FROM T ORDER BY name NULLS FIRST, k DESC",
                  .unit = "row",
                  .units = all_rows,
                  .in_order = by_name_and_k,
                  .duckdb_goal = 4});
  list.push_back({.name = "W10",
                  .title = "note like '%abc%': id",
                  .sql = "SELECT id FROM T WHERE note LIKE '%abc%'",
                  .unit = "row",
                  .units = all_rows,
                  .duckdb_goal = 4});
  list.push_back({.name = "W11",
                  .title = "name like 'ab%', through the index: id, name",
                  .sql = "SELECT id, name FROM T WHERE name LIKE 'ab%'",
                  .words = {.sqlite = "SELECT id, name FROM T WHERE name >= 'ab' AND name < 'ac'",
                            .reason = "so that it uses its index whatever the collation"},
                  .unit = "row of T",
                  .units = all_rows});
  list.push_back({.name = "W12",
                  .title = "count(distinct grp), count(distinct name)",
                  .sql = "SELECT count(DISTINCT grp), count(DISTINCT name) FROM T",
                  .words = {.own = "SELECT count(DISTINCT grp), count(DISTINCT name) - 1 FROM T",
                            .reason = "NULL counts once, and 5 % of the names are NULL"},
                  .unit = "row",
                  .units = all_rows,
                  .duckdb_goal = 2,
                  .against_slower = true});
  list.push_back({.name = "W13",
                  .title = "full join of 2000 x 2000 rows on 0 < u.id - t.k < 5",
                  .sql = "SELECT t.id, u.id FROM (SELECT id, k FROM T WHERE id < 2000) t "
                         "FULL JOIN (SELECT id FROM U WHERE id < 2000) u "
                         "ON u.id - t.k > 0 AND u.id - t.k < 5",
                  .unit = "pair",
                  .units = [](tables const& data, std::size_t, std::uint64_t) {
                    return static_cast<double>(std::min<std::size_t>(2000, data.t.size()) *
                                               std::min<std::size_t>(2000, data.u.size()));
                  }});
  list.push_back({.name = "W14",
                  .title = "union all of two 5 % ranges of k: id, k",
                  .sql = "SELECT id, k FROM T WHERE k BETWEEN $1 AND $2 UNION ALL "
                         "SELECT id, k FROM T WHERE k BETWEEN $3 AND $4",
                  .unit = "row out",
                  .units = rows_out,
                  .executions =
                      [](tables const& data) {
                        return once({share(data, 0.2), share(data, 0.25), share(data, 0.7),
                                     share(data, 0.75)});
                      },
                  .sqlite_goal = 1.3});
  list.push_back({.name = "W15",
                  .title = "limit 10 offset half of the rows: id, k, name",
                  .sql = "SELECT id, k, name FROM T LIMIT 10 OFFSET $1",
                  .unit = "row passed",
                  .units = [](tables const& data, std::size_t,
                              std::uint64_t) { return static_cast<double>(data.t.size()) / 2; },
                  .executions = [](tables const& data) { return once({share(data, 0.5)}); },
                  .in_order = in_order_of_ids,
                  .sqlite_goal = 2});
  list.push_back({.name = "W16",
                  .title = "the query of W3 from text: prepare, bind, run, close",
                  .sql = "SELECT id, name FROM T WHERE k = $1",
                  .unit = "query",
                  .units = executions_done,
                  .executions = lookups,
                  .duckdb_executions = 300,
                  .from_text = true,
                  .sqlite_goal = 5,
                  .duckdb_goal = 1});
  return list;
}

}  // namespace

std::vector<workload> const& all_workloads() {
  static std::vector<workload> const list = make_workloads();
  return list;
}

std::string const& text_for(workload const& work, engine const& engine) {
  std::string const name = engine.name();
  std::string const& own = name == "qd"       ? work.words.own
                           : name == "SQLite" ? work.words.sqlite
                                              : work.words.duckdb;
  return own.empty() ? work.sql : own;
}

}  // namespace bench
