// The conditional and the casts. The conversions themselves are tested apart; here is which one
// each class makes.
#include <gtest/gtest.h>

#include "sql_executor/operators/cast.h"
#include "sql_executor/operators/conditional.h"
#include "support/fake_kernel.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using db_string::dt_string;
using operator_library::Binary;
using operator_library::Decimal;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using outcome::of_operator;
using probe::fails;
using probe::yields;
using qd::sql_executor::value;
using qd::sql_executor::value_type;

template <typename T>
std::string conditional(value const& condition, operator_ptr then_branch,
                        operator_ptr else_branch) {
  return of_operator(if_op<T>(yields(condition), std::move(then_branch), std::move(else_branch)));
}

TEST(conditional, evaluates_the_chosen_branch_alone) {
  EXPECT_EQ(conditional<long>(true, yields(1L), fails()), "signed 1");
  EXPECT_EQ(conditional<long>(false, fails(), yields(2L)), "signed 2");
  EXPECT_EQ(conditional<long>(NullValue{}, fails(), yields(2L)), "signed 2");
  EXPECT_EQ(conditional<long>(5L, fails(), fails()), "error 7020");
  EXPECT_EQ(conditional<long>(true, yields(NullValue{}), fails()), "null");
}

// Fault: an instance that converts to another kind, or not at all.
TEST(conditional, converts_to_its_kind) {
  EXPECT_EQ(conditional<bool>(true, yields(2L), fails()), "true");
  EXPECT_EQ(conditional<unsigned long>(true, yields(-1L), fails()), "error 7041");
  EXPECT_EQ(conditional<long>(true, yields(2UL), fails()), "signed 2");
  EXPECT_EQ(conditional<Decimal>(true, yields(2L), fails()), "decimal 2000000");
  EXPECT_EQ(conditional<Decimal>(true, yields(2.0), fails()), "error 1027");
  EXPECT_EQ(conditional<double>(true, yields(2L), fails()), "double 2");
  EXPECT_EQ(conditional<float>(true, yields(2L), fails()), "float 2");
  EXPECT_EQ(conditional<dt_string>(true, yields(2L), fails()), "error 7020");
  EXPECT_EQ(conditional<Binary>(true, yields(Binary{{7}}), fails()), "binary 07");
  EXPECT_EQ(conditional<QD_OBJ_REF>(true, yields(QD_OBJ_REF{3, 4}), fails()), "reference 3@4");
  EXPECT_EQ(conditional<SetSpecifier>(true, yields(SetSpecifier{u"A"}), fails()), "set 41");
  EXPECT_EQ(conditional<NullValue>(true, yields(2L), fails()), "null");
}

TEST(cast, converts_to_the_alternative_of_its_kind) {
  EXPECT_EQ(of_operator(cast<value_type::unsigned_integer>(yields(Decimal{2999999}))),
            "unsigned 2");
  EXPECT_EQ(of_operator(cast<value_type::signed_integer>(yields(Decimal{-2999999}))), "signed -2");
  EXPECT_EQ(of_operator(cast<value_type::decimal>(yields(3UL))), "decimal 3000000");
  EXPECT_EQ(of_operator(cast<value_type::decimal>(yields(3.0))), "error 1027");
  EXPECT_EQ(of_operator(cast<value_type::single_float>(yields(3L))), "float 3");
  EXPECT_EQ(of_operator(cast<value_type::double_float>(yields(0.5F))), "double 0.5");
  EXPECT_EQ(of_operator(cast<value_type::boolean>(yields(3L))), "true");
  EXPECT_EQ(of_operator(cast<value_type::string>(yields(3L))), "error 7020");
  dt_string const string(reinterpret_cast<unsigned char const*>("\x80"
                                                                "a"),
                         2);
  EXPECT_EQ(of_operator(cast<value_type::string>(yields(string))), "string 80 61");
  EXPECT_EQ(of_operator(cast<value_type::signed_integer>(yields(string))), "error 1027");
  EXPECT_EQ(of_operator(cast<value_type::set_specifier>(yields(NullValue{}))), "null");
}

TEST(cast, finds_the_set_specifier_of_a_named_class) {
  fake_kernel::reset();
  fake_kernel::kernel& kernel = fake_kernel::current();
  kernel.tables[u"c.b"] = {300, 0};
  kernel.entries[{fake_kernel::set_specifier_type, {"\x28\0\0\0\0\0\0\x01\x2C", 9}}] = {{81, 0, 0}};
  kernel.cells[{81, 3}] = u"AB";
  EXPECT_EQ(of_operator(cast<value_type::set_specifier>(yields(dt_string(u"b.c", false)))),
            "set 41 42");
  EXPECT_TRUE(kernel.open_iterators.empty());
}

}  // namespace
