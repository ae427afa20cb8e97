#include "physical_to_exec/type_of_expression.h"

#include <set>
#include <stdexcept>
#include <type_traits>

#include "error_handling/error_codes.h"
#include "error_handling/qd_exception.h"

namespace physical_to_exec {

namespace {

using namespace physical_queryplan::QueryPlan;  // NOLINT: the visitor names most of it

// Finds the expression that an Extend of the plan defines a derived reference by.
class definition_search {
 public:
  explicit definition_search(Derived<QD_OBJ_REF> const& wanted) : wanted_(wanted) {}

  // Null when there is none.
  Expression const* in(PredicateVariant const& plan) const {
    return std::visit(*this, plan.variant);
  }

  Expression const* operator()(Extend const& plan) const {
    for (Alias const& alias : plan.aliases) {
      auto const* const defined = std::get_if<Derived<QD_OBJ_REF>>(&alias.variable);
      if (defined != nullptr && *defined == wanted_) return &alias.expression;
    }
    return in(*plan.child);
  }
  Expression const* operator()(Scan const&) const { return nullptr; }
  Expression const* operator()(GenerativeAssignment const&) const { return nullptr; }
  // Every other plan has either one child or a left and a right one.
  template <typename Alternative>
  Expression const* operator()(Alternative const& plan) const {
    if constexpr (requires { plan.child; }) {
      return in(*plan.child);
    } else {
      Expression const* const in_left = in(*plan.left);
      return in_left != nullptr ? in_left : in(*plan.right);
    }
  }

 private:
  Derived<QD_OBJ_REF> const& wanted_;
};

class type_visitor {
 public:
  explicit type_visitor(PredicateVariant const& plan) : plan_(plan) {}

  template <typename T>
  ColumnTypeInfo operator()(Column<T> const&) const {
    return of_kind<T>();
  }
  ColumnTypeInfo operator()(Column<QD_OBJ_REF> const& variable) const {
    return RefInfo{variable.column.ReferencedTable().FullName()};
  }
  template <typename T>
  ColumnTypeInfo operator()(Derived<T> const&) const {
    return of_kind<T>();
  }
  // One derived reference may be defined by another: follows them to something else.
  ColumnTypeInfo operator()(Derived<QD_OBJ_REF> const& variable) const {
    std::set<std::array<std::int32_t, 4>> followed;
    Derived<QD_OBJ_REF> const* reference = &variable;
    while (followed.insert(reference->identity).second) {
      Expression const* const definition = definition_search(*reference).in(plan_);
      if (definition == nullptr) return of_kind<QD_OBJ_REF>();
      reference = std::get_if<Derived<QD_OBJ_REF>>(&definition->variant);
      if (reference == nullptr) return std::visit(*this, definition->variant);
    }
    throw std::invalid_argument("the plan defines a derived reference by itself");
  }
  ColumnTypeInfo operator()(TableVariable const& variable) const {
    return RefInfo{variable.table.FullName()};
  }

  ColumnTypeInfo operator()(Constant const& constant) const {
    return std::visit([this](auto const& content) { return of_constant(content); }, constant);
  }
  // The result type of the operation's overload.
  template <typename Tag>
  ColumnTypeInfo operator()(Operation<Tag> const& operation) const {
    return std::visit([this](auto signature) { return of_result(signature); }, operation.signature);
  }

 private:
  template <typename T>
  static ColumnTypeInfo of_kind() {
    if constexpr (std::is_constructible_v<ColumnTypeInfo, meta_support::TypeIdentity<T>>) {
      return meta_support::TypeIdentity<T>();
    } else {
      error_handling::ThrowException(error_handling::not_implemented,
                                     error_handling::invalid_location, u"Unsupported return type");
    }
  }
  template <typename T>
  static ColumnTypeInfo of_constant(T const&) {
    return of_kind<T>();
  }
  template <typename T>
  static ColumnTypeInfo of_constant(operator_library::Parameter<T> const&) {
    return of_kind<T>();
  }
  template <typename R, typename Arguments>
  static ColumnTypeInfo of_result(operator_library::Signature<R, Arguments>) {
    return of_kind<R>();
  }

  PredicateVariant const& plan_;
};

}  // namespace

ColumnTypeInfo TypeOfExpression(Expression const& expression, PredicateVariant const& plan) {
  return std::visit(type_visitor(plan), expression.variant);
}

}  // namespace physical_to_exec
