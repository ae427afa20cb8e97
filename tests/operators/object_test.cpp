// Class membership, object identifiers and constant references.
#include "sql_executor/operators/object.h"

#include <gtest/gtest.h>

#include "support/fake_kernel.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using operator_library::NullValue;
using operator_library::SetSpecifier;
using outcome::of_operator;
using probe::fails;
using probe::yields;
using qd::sql_executor::evaluation_context;
using qd::sql_executor::value;

class object_operators : public testing::Test {
 protected:
  void SetUp() override {
    fake_kernel::reset();
    kernel.set_specifiers = {{1, u"A"}, {2, u"AB"}, {3, u"ABC"}, {4, u""}};
  }

  fake_kernel::kernel& kernel = fake_kernel::current();
};

// Faults: base and derived class exchanged; text compared instead of units; the object evaluated
// although the class is NULL.
TEST_F(object_operators, is_tests_the_prefix_of_the_objects_own_specifier) {
  value const null = NullValue{};
  struct {
    value object;
    value object_class;
    char const* result;
  } const rows[] = {
      {QD_OBJ_REF{2, 7}, SetSpecifier{u"AB"}, "true"},
      {QD_OBJ_REF{3, 7}, SetSpecifier{u"AB"}, "true"},
      {QD_OBJ_REF{1, 7}, SetSpecifier{u"AB"}, "false"},
      {QD_OBJ_REF{3, 7}, SetSpecifier{u"AC"}, "false"},
      {QD_OBJ_REF{4, 7}, SetSpecifier{u""}, "true"},
      {null, SetSpecifier{u"A"}, "null"},
      {QD_OBJ_REF{2, 7}, null, "null"},
      {5L, null, "null"},
      {5L, SetSpecifier{u"A"}, "error 7020"},
      {null, 5L, "error 7020"},
      {QD_OBJ_REF{99, 7}, SetSpecifier{u""}, "error 4272"},  // Not taken for NULL.
  };
  for (auto const& row : rows) {
    EXPECT_EQ(of_operator(is(yields(row.object), yields(row.object_class))), row.result)
        << outcome::of(row.object) << ", " << outcome::of(row.object_class);
  }
  EXPECT_EQ(of_operator(is(fails(), yields(null))), "null");
  EXPECT_EQ(of_operator(is(fails(), yields(5L))), "error 7020");

  evaluation_context context;
  context.kernel_context = 6;
  of_operator(is(yields(QD_OBJ_REF{2, 0x12345}), yields(SetSpecifier{u"A"})), context);
  EXPECT_EQ(kernel.reads.back(), (fake_kernel::column_read{"get_setspec", 6, 2, 0x12345, 0}));
}

TEST_F(object_operators, oid_gives_the_identifier) {
  EXPECT_EQ(of_operator(oid(yields(QD_OBJ_REF{~0UL, 7}))), "unsigned 18446744073709551615");
  EXPECT_EQ(of_operator(oid(yields(NullValue{}))), "null");
  EXPECT_EQ(of_operator(oid(yields(5UL))), "error 7020");
}

// Fault: an address kept from the first evaluation, or a status taken for NULL.
TEST_F(object_operators, object_cast_looks_the_address_up_each_time) {
  object_cast const constant(QD_OBJ_REF{8, 1});
  kernel.addresses[8] = 0xABCD0002;
  EXPECT_EQ(of_operator(constant), "reference 8@2882338818");
  kernel.addresses[8] = 5;
  EXPECT_EQ(of_operator(constant), "reference 8@5");
  kernel.addresses.clear();
  EXPECT_EQ(of_operator(constant), "error 4711");
}

}  // namespace
