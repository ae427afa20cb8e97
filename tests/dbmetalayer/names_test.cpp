// Names to tables, and the thread's metadata context that they are resolved through.
#include <gtest/gtest.h>

#include <thread>

#include "dbmetalayer/database.h"
#include "kernel/metalayer.h"

namespace qd::embedded {
namespace {

std::string bad_argument(auto action) {
  try {
    action();
  } catch (metalayer::exceptions::BadArg const& fault) {
    return fault.what();
  }
  return "no exception";
}

TEST(Names, IncompleteNamesEndLikeTheFullName) {
  database data = database::open_temporary();
  {
    transaction write = data.begin_write();
    for (char16_t const* name :
         {u"a.b.c", u"b.c", u"x.only", u"x.y.Table", u"p.twin", u"q.twin", u"p.twin-like"}) {
      write.define_class({.name = name});
    }
    write.commit();
  }
  snapshot view = data.begin_snapshot();
  thread_binding const binding = view.bind();

  struct row {
    char16_t const* reversed;
    char16_t const* full;
  };
  row const found[] = {
      {u"c.b.a", u"a.b.c"},           {u"c.b", u"b.c"},
      {u"only", u"x.only"},           {u"only.x", u"x.only"},
      {u"Table", u"x.y.Table"},       {u"twin.q", u"q.twin"},
      {u"twin-like", u"p.twin-like"}, {u"Table.catalogue", u"catalogue.Table"},
  };
  for (row const& row : found) {
    EXPECT_EQ(metalayer::RawViewByIncompleteReverseUid(row.reversed),
              view.class_reference(row.full))
        << testing::PrintToString(std::u16string(row.full));
  }
  for (char16_t const* unknown : {u"b", u"nly", u"onl", u"x", u"", u"Column", u"only.y", u"."}) {
    EXPECT_THROW(metalayer::RawViewByIncompleteReverseUid(unknown), metalayer::exceptions::BadArg)
        << testing::PrintToString(std::u16string(unknown));
  }
  EXPECT_EQ(bad_argument([] { metalayer::RawViewByIncompleteReverseUid(u"twin"); }),
            "the table name twin is ambiguous: p.twin, q.twin");
  EXPECT_EQ(bad_argument([] { metalayer::RawViewByIncompleteReverseUid(u"none.x"); }),
            "there is no table x.none");

  EXPECT_EQ(metalayer::DottedName2RawView({u"a", u"b", u"c"}), view.class_reference(u"a.b.c"));
  EXPECT_EQ(bad_argument([] { metalayer::DottedName2RawView({u"only"}); }),
            "there is no table only");
}

TEST(Names, EachThreadResolvesThroughItsOwnBinding) {
  using metalayer::TlsMetalayerContext;
  EXPECT_THROW(TlsMetalayerContext::Current(), std::logic_error);
  database data = database::open_temporary();
  snapshot outer = data.begin_snapshot();
  snapshot inner = data.begin_snapshot();
  {
    thread_binding const first = outer.bind();
    {
      thread_binding const second = inner.bind();
      EXPECT_EQ(TlsMetalayerContext::Current()->kernel_context, inner.context());
      std::thread([] { EXPECT_THROW(TlsMetalayerContext::Current(), std::logic_error); }).join();
    }
    EXPECT_EQ(TlsMetalayerContext::Current()->kernel_context, outer.context());
    // A binding that another thread ends is forgotten, too.
    auto moved = std::make_unique<thread_binding>(inner.bind());
    std::thread([&] { moved.reset(); }).join();
    EXPECT_EQ(TlsMetalayerContext::Current()->kernel_context, outer.context());
  }
  EXPECT_THROW(TlsMetalayerContext::Current(), std::logic_error);
}

TEST(Names, ABindingHandsASnapshotToItsThread) {
  database data = database::open_temporary();
  {
    transaction write = data.begin_write();
    write.define_class({.name = u"Number"});
    write.commit();
  }
  snapshot view = data.begin_snapshot();
  std::thread([&] {
    EXPECT_THROW(view.class_names(), error) << "another thread's";
    thread_binding const binding = view.bind();
    EXPECT_EQ(metalayer::RawViewByIncompleteReverseUid(u"Number"), view.class_reference(u"Number"));
  }).join();
}

}  // namespace
}  // namespace qd::embedded
