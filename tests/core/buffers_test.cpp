// SPDX-License-Identifier: MIT

// Pooled buffers and the ledger of their fates.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <set>
#include <thread>
#include <vector>

#include "host/Identifiers.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/Session.h"

namespace {
std::atomic<std::uint64_t> s_allocations{0};
}

// Not inlined: the compiler would see one half of a pair and complain.
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  s_allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(bytes == 0 ? 1 : bytes)) {
    return p;
  }
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept { std::free(p); }
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

using namespace Tavro;

class BuffersTest : public testing::Test {
 protected:
  PooledBuffer* pulled(std::uint32_t bytes = 100) {
    PooledBuffer* buffer = pool.acquire();
    buffer->describe(bytes, 20, 5);
    session.ledger().pulled(*buffer);
    return buffer;
  }
  void report(PooledBuffer* buffer, std::uint32_t state) {
    static_cast<GraphSessionInterface&>(session).reportBuffer(1, state, buffer);
  }

  Session session;
  BufferPool pool{4, 1000, session.ledger()};
};

TEST_F(BuffersTest, aPoolHandsOutEachBufferOnceUntilItComesBack) {
  std::set<PooledBuffer*> out;
  for (int i = 0; i < 4; ++i) {
    out.insert(pool.acquire());
  }
  EXPECT_EQ(out.size(), 4u);
  EXPECT_EQ(out.count(nullptr), 0u);
  EXPECT_EQ(pool.acquire(), nullptr);

  PooledBuffer* const one = *out.begin();
  one->retain();
  one->release();
  EXPECT_EQ(pool.acquire(), nullptr) << "a reference is left";
  one->release();
  EXPECT_EQ(pool.acquire(), one);
}

TEST_F(BuffersTest, everyFateIsBookedAndBalances) {
  PooledBuffer* played = pulled();
  played->lockData();
  report(played, BufferState::kPlaying);
  report(played, BufferState::kPlaying);
  report(played, BufferState::kPlayed);
  played->release();

  PooledBuffer* late = pulled();
  report(late, BufferState::kDroppedLate);
  late->release();

  PooledBuffer* burst = pulled();
  burst->lockData();
  burst->unlockData();
  burst->release();

  pulled()->release();  // flushed

  PooledBuffer* begun = pulled();
  begun->lockData();
  report(begun, BufferState::kPlaying);
  begun->release();  // flushed half-way

  PooledBuffer* held = pulled();
  pool.acquire()->release();  // never handed to anybody

  LedgerTotals totals = session.ledger().totals();
  EXPECT_EQ(totals.pulled, 6u);
  EXPECT_EQ(totals.pieces, 3u);
  EXPECT_EQ(totals.played, 1u);
  EXPECT_EQ(totals.droppedLate, 1u);
  EXPECT_EQ(totals.withoutReport, 1u);
  EXPECT_EQ(totals.cleared, 2u);
  EXPECT_EQ(totals.held, 1u);
  EXPECT_TRUE(totals.balanced());

  held->release();
  totals = session.ledger().totals();
  EXPECT_EQ(totals.held, 0u);
  EXPECT_EQ(totals.cleared, 3u);
  EXPECT_TRUE(totals.balanced());
}

TEST_F(BuffersTest, theBalanceShowsWhatAComponentDoesWrong) {
  PooledBuffer* kept = pulled();
  report(kept, BufferState::kPlayed);
  EXPECT_FALSE(session.ledger().totals().balanced()) << "played, but not given back";
  kept->release();
  EXPECT_TRUE(session.ledger().totals().balanced());

  PooledBuffer* twice = pulled();
  report(twice, BufferState::kPlayed);
  report(twice, BufferState::kPlayed);
  twice->release();
  EXPECT_FALSE(session.ledger().totals().balanced()) << "played twice";
}

TEST_F(BuffersTest, aReleaseTooManyIsAFaultAndFreesNothing) {
  PooledBuffer* buffer = pulled();
  buffer->release();
  buffer->release();
  EXPECT_EQ(session.ledger().totals().releasedTooOften, 1u);
  EXPECT_FALSE(session.ledger().totals().balanced());
  std::set<PooledBuffer*> out;
  for (int i = 0; i < 4; ++i) {
    out.insert(pool.acquire());
  }
  EXPECT_EQ(out.size(), 4u);
}

TEST_F(BuffersTest, theLastReturnWakesWhoeverWaits) {
  PooledBuffer* first = pulled();
  PooledBuffer* second = pulled();
  HostTime::Signal signal;
  session.ledger().notifyWhenReturned(2, signal);
  first->release();
  EXPECT_FALSE(HostTime::waitUntil(HostTime::now(), signal, "nothing yet"));
  second->release();
  EXPECT_TRUE(HostTime::waitUntil(HostTime::kNever, signal, "both buffers"));

  HostTime::Signal late;
  session.ledger().notifyWhenReturned(2, late);
  EXPECT_TRUE(HostTime::waitUntil(HostTime::kNever, late, "both buffers, already back"));
}

TEST_F(BuffersTest, steadyPlaybackAllocatesNothing) {
  session.events().open(64, [](const EventRecord&) {});
  pulled()->release();
  const std::uint64_t before = s_allocations.load();
  for (int i = 0; i < 200; ++i) {
    PooledBuffer* buffer = pulled();
    buffer->lockData();
    report(buffer, BufferState::kPlaying);
    buffer->unlockData();
    report(buffer, BufferState::kPlayed);
    buffer->release();
    session.clock().currentTime();
  }
  EXPECT_EQ(s_allocations.load(), before);
  session.events().close();
}

TEST(BufferPoolThreads, noBufferIsEverInTwoHands) {
  Session session;
  constexpr std::uint32_t kBuffers = 3;
  BufferPool pool(kBuffers, 64, session.ledger());
  std::atomic<bool> clash{false};
  const auto work = [&] {
    for (int i = 0; i < 20'000; ++i) {
      PooledBuffer* buffer = pool.acquire();
      if (buffer == nullptr) {
        continue;
      }
      session.ledger().pulled(*buffer);
      std::uint8_t* bytes = buffer->bytes();
      if (bytes[0]++ != 0) {
        clash = true;
      }
      bytes[0]--;
      buffer->release();
    }
  };
  std::thread other(work);
  work();
  other.join();
  EXPECT_FALSE(clash);
  const LedgerTotals totals = session.ledger().totals();
  EXPECT_EQ(totals.cleared, totals.pulled);
  EXPECT_EQ(totals.held, 0u);
}

}  // namespace
