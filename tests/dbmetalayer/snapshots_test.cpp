// Snapshots on several threads, and the request to stop.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "dbmetalayer/database.h"
#include "kernel/metalayer.h"
#include "raw_reader.h"

namespace qd::embedded {
namespace {

database numbered(int count) {
  database data = database::open_temporary();
  transaction write = data.begin_write();
  write.define_class({.name = u"Number", .columns = {{u"n", column_type::signed_integer}}});
  inserter rows = write.prepare_insert(u"Number");
  for (int i = 0; i < count; ++i) rows.insert({i});
  write.commit();
  return data;
}

TEST(Snapshots, ThreadsReadTheirOwnBesideAWriter) {
  database data = numbered(100);
  // Every transaction moves an amount from one object to another: a torn view has another sum.
  std::atomic<bool> done{false};
  auto const reader = [&] {
    do {
      snapshot view = data.begin_snapshot();
      thread_binding const binding = view.bind();
      ASSERT_EQ(metalayer::TlsMetalayerContext::Current()->kernel_context, view.context());
      raw_reader const read{view.context()};
      std::vector<QD_OBJ_REF> const objects = read.extent(view, u"Number");
      long sum = 0;
      for (QD_OBJ_REF const& object : objects) sum += *read.signed_number(object, 3);
      ASSERT_EQ(sum, 4950);
    } while (!done);
  };
  std::thread first(reader);
  std::thread second(reader);
  raw_reader read{0};
  for (long round = 1; round <= 50; ++round) {
    transaction write = data.begin_write();
    read.context = write.context();
    std::vector<QD_OBJ_REF> const objects = read.extent(write, u"Number");
    QD_OBJ_REF const from = objects[round % objects.size()];
    QD_OBJ_REF const to = objects[round * 7 % objects.size()];
    if (from == to) continue;
    long const left = *read.signed_number(from, 3);
    long const right = *read.signed_number(to, 3);
    write.update({from.oid}, {{u"n", left - round}});
    write.update({to.oid}, {{u"n", right + round}});
    write.commit();
  }
  done = true;
  first.join();
  second.join();
}

TEST(Snapshots, BindingHandsASnapshotToAThread) {
  database data = numbered(1);
  snapshot view = data.begin_snapshot();
  std::thread([&] {
    EXPECT_THROW(view.class_names(), error) << "another thread's";
    thread_binding const binding = view.bind();
    EXPECT_EQ(view.class_names().size(), 1u);
    EXPECT_EQ(metalayer::RawViewByIncompleteReverseUid(u"Number"), view.class_reference(u"Number"));
  }).join();
}

TEST(Snapshots, AnotherThreadStopsAScan) {
  database data = numbered(1000);
  snapshot view = data.begin_snapshot();
  raw_reader const read{view.context()};
  unsigned long const extent = read.kernel_id(view.index_reference(u"Number.extent"));
  unsigned long const handle = view.context();
  unsigned long iterator = 0;
  auto const first = raw_key().null().end();
  auto const last = raw_key().number(~0ul).end();
  ASSERT_EQ(
      vela_context_create_iterator(handle, extent, 0x30, first.data(), last.data(), &iterator), 0u);
  VELA_RECORD record{};
  ASSERT_EQ(vela_iterator_next(iterator, &record), 0u);
  std::thread([&] { view.request_stop(); }).join();
  unsigned const stopped = vela_iterator_next(iterator, &record);
  EXPECT_NE(stopped, 0u);
  EXPECT_NE(stopped, static_cast<unsigned>(VELA_STATUS_NULL));
  long number = 0;
  EXPECT_EQ(
      vela_context_get_long(handle, record.oid, record.address << 16 | record.layout, 3, &number),
      stopped);
  try {
    (void)view.class_reference(u"Number");
    ADD_FAILURE() << "a stopped context reads no names";
  } catch (error const& fault) {
    EXPECT_EQ(fault.kind(), error_kind::stopped);
  }
  EXPECT_EQ(vela_iterator_free(iterator), 0u);

  view.clear_stop();
  EXPECT_EQ(read.extent(view, u"Number").size(), 1000u);
  EXPECT_TRUE(request_stop(handle));
  { snapshot const ended = std::move(view); }
  EXPECT_FALSE(request_stop(handle)) << "the context has ended";
  EXPECT_FALSE(clear_stop(handle));
}

}  // namespace
}  // namespace qd::embedded
