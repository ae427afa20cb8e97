#include "queries/measure.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <fstream>
#include <thread>

namespace bench {

namespace {

std::uint64_t anonymous_bytes() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == "RssAnon:") {
      std::uint64_t kilobytes = 0;
      status >> kilobytes;
      return kilobytes * 1024;
    }
  }
  return 0;
}

// A number, when the cell is one.
bool number_of(cell const& content, double& number) {
  if (auto const* integer = std::get_if<std::int64_t>(&content)) {
    number = static_cast<double>(*integer);
  } else if (auto const* decimal = std::get_if<decimal_cell>(&content)) {
    number = static_cast<double>(decimal->millionths) / 1e6;
  } else if (auto const* floating = std::get_if<double>(&content)) {
    number = *floating;
  } else {
    return false;
  }
  return true;
}

bool same_cell(cell const& left, cell const& right) {
  if (left.index() == right.index() && !std::holds_alternative<double>(left)) {
    return std::visit([&]<typename T>(T const& content) { return content == std::get<T>(right); },
                      left);
  }
  double first = 0;
  double second = 0;
  if (!number_of(left, first) || !number_of(right, second)) return false;
  return std::abs(first - second) <= 1e-6 * std::max(std::abs(first), std::abs(second));
}

// An order that puts equal rows of two engines at equal places. Computed fractions differ in their
// last digits, so they come last.
bool before(row const& left, row const& right) {
  for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
    double first = 0;
    double second = 0;
    if (number_of(left[i], first) && number_of(right[i], second)) {
      if (std::abs(first - second) > 1e-6 * std::max(std::abs(first), std::abs(second)) ||
          (left[i].index() == 1 && right[i].index() == 1 && first != second)) {
        return first < second;
      }
      continue;
    }
    bool const null_left = std::holds_alternative<std::monostate>(left[i]);
    bool const null_right = std::holds_alternative<std::monostate>(right[i]);
    if (null_left != null_right) return null_left;
    if (null_left) continue;
    int const order = std::get<std::string>(left[i]).compare(std::get<std::string>(right[i]));
    if (order != 0) return order < 0;
  }
  return false;
}

std::string printed(row const& current) {
  std::string text;
  for (cell const& content : current) {
    if (!text.empty()) text += ", ";
    double number = 0;
    if (number_of(content, number)) {
      text += std::to_string(number);
    } else if (auto const* characters = std::get_if<std::string>(&content)) {
      text += '\'' + *characters + '\'';
    } else {
      text += "NULL";
    }
  }
  return text;
}

}  // namespace

double measurement::median() const {
  std::vector<double> sorted = seconds;
  std::sort(sorted.begin(), sorted.end());
  return sorted.empty() ? 0 : sorted[sorted.size() / 2];
}

contender::contender(workload const& work, engine& engine, tables const& data)
    : work_(work), engine_(engine), data_(data) {
  executions_ = work.executions ? work.executions(data) : std::vector<parameters>{{}};
  if (engine.name() == "DuckDB" && executions_.size() > work.duckdb_executions) {
    executions_.resize(work.duckdb_executions);
  }
  prepared_ = engine.prepare(text_for(work, engine));
  result_.plan = prepared_->plan(executions_.front());
  if (work.from_text) prepared_.reset();
}

std::vector<row> contender::rows() {
  std::unique_ptr<prepared_query> const own =
      prepared_ ? nullptr : engine_.prepare(text_for(work_, engine_));
  prepared_query& query = prepared_ ? *prepared_ : *own;
  // Engines that run fewer executions are compared over those.
  std::size_t const count = std::min(executions_.size(), work_.duckdb_executions);
  std::vector<row> all;
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<row> some = query.rows(executions_[i]);
    all.insert(all.end(), std::make_move_iterator(some.begin()),
               std::make_move_iterator(some.end()));
  }
  return all;
}

std::uint64_t contender::run_all() {
  std::uint64_t rows = 0;
  for (parameters const& values : executions_) {
    if (prepared_) {
      rows += prepared_->run(values);
    } else {
      rows += engine_.prepare(text_for(work_, engine_))->run(values);
    }
  }
  return rows;
}

void contender::time() {
  auto const begin = std::chrono::steady_clock::now();
  std::uint64_t const rows = run_all();
  std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - begin;
  result_.seconds.push_back(taken.count());
  result_.units = work_.units(data_, executions_.size(), rows);
}

void contender::weigh() {
  malloc_trim(0);
  std::uint64_t const before_query = anonymous_bytes();
  std::atomic<bool> done = false;
  std::uint64_t peak = before_query;
  std::thread sampler([&] {
    while (!done) {
      peak = std::max(peak, anonymous_bytes());
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });
  run_all();
  done = true;
  sampler.join();
  result_.peak_anonymous_bytes = peak - before_query;
}

bool same_rows(std::vector<row> left, std::vector<row> right, std::string& difference) {
  if (left.size() != right.size()) {
    difference = std::to_string(left.size()) + " rows against " + std::to_string(right.size());
    return false;
  }
  std::sort(left.begin(), left.end(), before);
  std::sort(right.begin(), right.end(), before);
  for (std::size_t i = 0; i < left.size(); ++i) {
    bool const same =
        std::equal(left[i].begin(), left[i].end(), right[i].begin(), right[i].end(), same_cell);
    if (!same) {
      difference = "(" + printed(left[i]) + ") against (" + printed(right[i]) + ")";
      return false;
    }
  }
  return true;
}

}  // namespace bench
