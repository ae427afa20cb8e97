// Class membership and constant references.
#include "sql_executor/operators/object.h"

#include <gtest/gtest.h>

#include "support/fake_kernel.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor::operators;
using operator_library::SetSpecifier;
using outcome::of_operator;
using probe::yields;
using qd::sql_executor::evaluation_context;

class object_operators : public testing::Test {
 protected:
  void SetUp() override {
    fake_kernel::reset();
    kernel.set_specifiers = {{2, u"AB"}};
  }

  fake_kernel::kernel& kernel = fake_kernel::current();
};

// Faults: the specifier read through another class's address, or in another context; a missing object
// taken for NULL.
TEST_F(object_operators, is_reads_the_objects_own_specifier) {
  evaluation_context context;
  context.kernel_context = 6;
  auto const is_an_a = [&context](QD_OBJ_REF const& object) {
    return of_operator(is(yields(object), yields(SetSpecifier{u"A"})), context);
  };
  EXPECT_EQ(is_an_a({2, 0x12345}), "true");
  EXPECT_EQ(kernel.reads.back(), (fake_kernel::column_read{"get_setspec", 6, 2, 0x12345, 0}));
  EXPECT_EQ(is_an_a({99, 7}), "error 4272");
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
