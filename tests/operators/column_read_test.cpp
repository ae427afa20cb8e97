// Reads of the context and of columns.
#include "sql_executor/operators/context_reads.h"

#include <gtest/gtest.h>

#include "support/fake_kernel.h"
#include "support/outcome.h"
#include "support/probe.h"

namespace {

using namespace qd::sql_executor;
using namespace qd::sql_executor::operators;
using operator_library::NullValue;
using outcome::of_operator;
using probe::yields;

// Fault: another vector or position read, or memory behind the vector.
TEST(context_reads, select_the_vector_and_check_the_position) {
  evaluation_context context;
  context.literals = {1L, 2L};
  context.parameters = {3L};
  context.bound_data = {4L, 5L, true};
  struct {
    ContextSlot slot;
    char const* result;
  } const rows[] = {
      {literal_index{0}, "signed 1"},
      {literal_index{1}, "signed 2"},
      {parameter_index{0}, "signed 3"},
      {bound_data_index{1}, "signed 5"},
      {bound_data_index{2}, "true"},
      {literal_index{2},
       "exception: position 2 in the literals of the evaluation context, which has 2 values"},
      {parameter_index{1},
       "exception: position 1 in the parameters of the evaluation context, which has 1 values"},
      {bound_data_index{-1},
       "exception: position -1 in the bound data of the evaluation context, which has 3 values"},
      {bound_data_index{32767},
       "exception: position 32767 in the bound data of the evaluation context, which has 3 values"},
  };
  for (auto const& row : rows) {
    auto slot = std::make_unique<value_from_context const>(row.slot);
    EXPECT_EQ(of_operator(*slot, context), row.result);
    EXPECT_EQ(outcome::of_call([&] { return read(row.slot, context); }), row.result);
    // As an operand it is read where it stands.
    operand const in_place(std::move(slot));
    EXPECT_EQ(outcome::of_call([&] {
                value scratch;
                value const& result = in_place.read(context, scratch);
                EXPECT_NE(&result, &scratch);
                return result;
              }),
              row.result);
  }
}

class column_reads : public testing::Test {
 protected:
  void SetUp() override { fake_kernel::reset(); }

  fake_kernel::kernel& kernel = fake_kernel::current();
};

// One row per kind: the getter, and what it makes of the column.
TEST_F(column_reads, read_each_kind_through_the_layout_of_the_plan) {
  struct {
    value_type type;
    char const* getter;
    fake_kernel::cell content;
    char const* result;
  } const rows[] = {
      {value_type::unsigned_integer, "get_ulong", ~0UL, "unsigned 18446744073709551615"},
      {value_type::signed_integer, "get_long", -4L, "signed -4"},
      {value_type::decimal, "get_decimal", 1500000L, "decimal 1500000"},
      {value_type::single_float, "get_float", 0.5F, "float 0.5"},
      {value_type::double_float, "get_double", 0.25, "double 0.25"},
      {value_type::string, "get_binary",
       std::string("\x80"
                   "ab"),
       "string 80 61 62"},
      {value_type::string, "get_binary", std::string(), "string"},
      {value_type::binary, "get_binary", std::string("\0\xFF", 2), "binary 00 FF"},
      {value_type::binary, "get_binary", std::string(), "binary"},
      {value_type::object_reference, "get_reference", VELA_RECORD{9, 0xFFFFFFFFFFFF, 2},
       "reference 9@18446744073709486082"},
      {value_type::boolean, "get_bool", 0UL, "false"},
      {value_type::boolean, "get_bool", 1UL << 40, "true"},
  };
  evaluation_context context;
  context.kernel_context = 6;
  for (auto const& row : rows) {
    SCOPED_TRACE(row.getter);
    fake_kernel::reset();
    property_read const column(row.type, 70000, 0xBEEF, yields(QD_OBJ_REF{5, 0xABCDEF121111}));
    EXPECT_EQ(of_operator(column, context), "null");
    EXPECT_EQ(kernel.reads.at(0),
              (fake_kernel::column_read{row.getter, 6, 5, 0xABCDEF12BEEF, 70000}));
    kernel.cells[{5, 70000}] = row.content;
    EXPECT_EQ(of_operator(column, context), row.result);
    kernel.failing_call = kernel.calls + 1;
    kernel.status = 17;
    EXPECT_EQ(outcome::of_call([&] { return column.eval(context); }), "error 17");
  }
}

TEST_F(column_reads, read_the_set_specifier_of_the_object_itself) {
  property_read const column(value_type::set_specifier, 1, 3, yields(QD_OBJ_REF{5, 0x70001}));
  EXPECT_EQ(of_operator(column), "null");
  kernel.set_specifiers[5] = {u'A', u'\0', u'B'};  // Counted, not ended by a zero.
  EXPECT_EQ(of_operator(column), "set 41 00 42");
  EXPECT_EQ(kernel.reads.back(), (fake_kernel::column_read{"get_setspec", 0, 5, 0x70003, 0}));
}

TEST_F(column_reads, read_nothing_through_null_and_refuse_what_is_no_reference) {
  EXPECT_EQ(of_operator(property_read(value_type::string, 4, 3, yields(NullValue{}))), "null");
  EXPECT_EQ(of_operator(property_read(value_type::string, 4, 3, yields(5UL))),
            "exception: Unexpected index");
  EXPECT_EQ(kernel.calls, 0U);
  EXPECT_THROW(property_read(value_type{10}, 4, 3, yields(NullValue{})), std::invalid_argument);
}

}  // namespace
