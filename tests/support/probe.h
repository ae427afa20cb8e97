// Operators for tests: leaves that note when they are evaluated, or that fail.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "sql_executor/operators/operator_base.h"

namespace probe {

// What a failing probe throws.
class failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Yields a value and appends its name to a log at each evaluation.
class leaf final : public qd::sql_executor::operators::operator_base {
 public:
  leaf(qd::sql_executor::value result, char name, std::string* evaluation_log)
      : result_(std::move(result)), name_(name), log_(evaluation_log) {}

  qd::sql_executor::value eval(qd::sql_executor::evaluation_context const&) const override {
    if (log_ != nullptr) *log_ += name_;
    return result_;
  }

 private:
  qd::sql_executor::value result_;
  char name_;
  std::string* log_;
};

// Throws a failure of its name at each evaluation.
class failing_leaf final : public qd::sql_executor::operators::operator_base {
 public:
  explicit failing_leaf(char name) : name_(name) {}

  qd::sql_executor::value eval(qd::sql_executor::evaluation_context const&) const override {
    throw failure(std::string(1, name_));
  }

 private:
  char name_;
};

// An expression that yields the value.
inline qd::sql_executor::operators::operator_ptr yields(qd::sql_executor::value result,
                                                        char name = '?',
                                                        std::string* log = nullptr) {
  return std::make_unique<leaf const>(std::move(result), name, log);
}

inline qd::sql_executor::operators::operator_ptr fails(char name = '!') {
  return std::make_unique<failing_leaf const>(name);
}

}  // namespace probe
