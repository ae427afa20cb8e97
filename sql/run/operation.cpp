#include "sql/run/operation.h"

#include "sql/run/query.h"

namespace qd::sql {
namespace {

class query_operation final : public operation {
 public:
  query_operation(syntax::query const& syntax, preparation const& prepare)
      : query_(bind(syntax, prepare.binding()), prepare.planning()) {}

  access needs() const override { return access::read; }
  std::vector<result_column> const& columns() const override { return query_.columns(); }
  void start(run_context& run) override { query_.start(std::move(*run.from), run.parameters); }
  bool next(std::vector<value>& row) override {
    if (!query_.running()) {
      throw error(error_code::bad_transaction,
                  "the query ended with its transaction or with a change of its tables");
    }
    return query_.next(row);
  }
  unsigned long reading() const override { return query_.running() ? query_.context() : 0; }
  void end() noexcept override { query_.end(); }

 private:
  query query_;
};

std::unique_ptr<operation> without_access(std::function<void(run_context&)> work) {
  return std::make_unique<action>(operation::access::none, std::move(work));
}

struct maker {
  parsed_statement const& statement;
  preparation const& prepare;

  using made = std::unique_ptr<operation>;

  made operator()(syntax::query const& query) const { return make_query(query, prepare); }
  made operator()(syntax::create_table const& created) const { return make_create_table(created); }
  made operator()(syntax::create_index const& created) const { return make_create_index(created); }
  made operator()(syntax::drop const& dropped) const { return make_drop(dropped); }
  made operator()(syntax::insert const&) const { return make_insert(statement, prepare); }
  made operator()(syntax::update const& update) const { return make_update(update, prepare); }
  made operator()(syntax::delete_rows const& rows) const { return make_delete(rows, prepare); }
  made operator()(syntax::copy const& copy) const { return make_copy(copy, prepare); }
  made operator()(syntax::explain const&) const { return make_explain(*statement.inner, prepare); }
  made operator()(syntax::execute const&) const { return make_execute(statement, prepare); }
  made operator()(syntax::begin const&) const {
    return without_access([](run_context& run) { run.connection.begin_transaction(); });
  }
  made operator()(syntax::commit const&) const {
    return without_access([](run_context& run) { run.connection.commit(); });
  }
  made operator()(syntax::roll_back const&) const {
    return without_access([](run_context& run) { run.connection.roll_back(); });
  }
  made operator()(syntax::prepare const& named) const {
    return without_access([name = named.name, inner = statement.inner](run_context& run) {
      if (!run.connection.prepared.emplace(name, inner).second) {
        throw error(error_code::bad_definition,
                    "there is a prepared statement " + name + " already");
      }
    });
  }
  made operator()(syntax::deallocate const& named) const {
    return without_access([name = named.name](run_context& run) {
      if (name.empty()) {
        run.connection.prepared.clear();
      } else if (run.connection.prepared.erase(name) == 0) {
        throw error(error_code::unknown_name, "there is no prepared statement " + name);
      }
    });
  }
};

}  // namespace

std::vector<result_column> const& operation::columns() const {
  static std::vector<result_column> const none;
  return none;
}

bool operation::next(std::vector<value>&) {
  return false;
}

std::unique_ptr<operation> make_query(syntax::query const& query, preparation const& prepare) {
  return std::make_unique<query_operation>(query, prepare);
}

std::unique_ptr<operation> make_operation(parsed_statement const& statement,
                                          preparation const& prepare) {
  return std::visit(maker{statement, prepare}, statement.content.content);
}

}  // namespace qd::sql
