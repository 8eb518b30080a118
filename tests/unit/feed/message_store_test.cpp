// The message store against a plain queue of messages: numbering, eviction and the seams of its memory.
#include "feed/message_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <string>
#include <string_view>

namespace vorbeld {
namespace {

// The plain way: the newest messages without their numbers; element i has the number next - size + i.
struct StoreModel {
  std::deque<std::string> messages;
  std::uint64_t next_sequence = 1;
};

void add(StoreModel& model, const std::string& message) {
  model.messages.push_back(message);
  if (model.messages.size() > 400'000) model.messages.pop_front();
  ++model.next_sequence;
}

const std::string& message_of(const StoreModel& model, std::uint64_t sequence) {
  return model.messages[sequence - (model.next_sequence - model.messages.size())];
}

// The message of a stored block whose length prefix is right; "bad block" otherwise.
std::string_view stored_message(const MessageStore& store, std::uint64_t sequence) {
  const std::span<const char> block = stored_block(store, sequence);
  const auto high = static_cast<unsigned char>(block[0]);
  const auto low = static_cast<unsigned char>(block[1]);
  if (block.size() != 2U + high * 256U + low) return "bad block";
  return {block.data() + 2, block.size() - 2};
}

void append_numbered(MessageStore& store, std::uint64_t count) {
  for (std::uint64_t i = 0; i < count; ++i) store_message(store, std::to_string(store.appended + 1));
}

::testing::AssertionResult same_everywhere(const MessageStore& store, const StoreModel& model) {
  if (stored_count(store) != model.messages.size()) return ::testing::AssertionFailure() << stored_count(store);
  const std::uint64_t oldest = model.next_sequence - model.messages.size();
  if (oldest_stored(store) != oldest) return ::testing::AssertionFailure() << "oldest " << oldest_stored(store);
  for (std::uint64_t sequence = oldest; sequence < model.next_sequence; ++sequence) {
    if (stored_message(store, sequence) != message_of(model, sequence)) {
      return ::testing::AssertionFailure() << "message " << sequence << " of " << model.next_sequence - 1;
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(MessageStore, IsEmptyAtFirst) {
  const MessageStore store;
  EXPECT_EQ(stored_count(store), 0U);
  EXPECT_EQ(oldest_stored(store), 1U);
}

TEST(MessageStore, ReturnsTheBlockOfWhatItStored) {
  MessageStore store;
  const std::span<const char> block = store_message(store, std::string(300, 'z'));
  ASSERT_EQ(block.size(), 302U);
  EXPECT_EQ(block[0], '\x01');
  EXPECT_EQ(block[1], '\x2c');
  EXPECT_EQ(std::string_view(block.data() + 2, 300), std::string(300, 'z'));
  EXPECT_EQ(stored_block(store, 1).data(), block.data());
}

TEST(MessageStore, FindsEachMessageByItsNumber) {
  MessageStore store;
  append_numbered(store, 1000);
  EXPECT_EQ(stored_count(store), 1000U);
  EXPECT_EQ(oldest_stored(store), 1U);
  for (std::uint64_t sequence = 1; sequence <= 1000; ++sequence) {
    EXPECT_EQ(stored_message(store, sequence), std::to_string(sequence));
  }
}

TEST(MessageStore, KeepsAllOf400000Messages) {
  MessageStore store;
  append_numbered(store, 400'000);
  EXPECT_EQ(stored_count(store), 400'000U);
  EXPECT_EQ(oldest_stored(store), 1U);
  EXPECT_EQ(stored_message(store, 1), "1");
}

TEST(MessageStore, HoldsNumbers2To400001AfterOneMore) {
  MessageStore store;
  append_numbered(store, 400'001);
  EXPECT_EQ(stored_count(store), 400'000U);
  EXPECT_EQ(oldest_stored(store), 2U);
  EXPECT_EQ(stored_message(store, 2), "2");
  EXPECT_EQ(stored_message(store, 400'001), "400001");
}

TEST(MessageStore, KeepsAnEmptyMessageAndTheLongestOne) {
  MessageStore store;
  store_message(store, std::string_view());
  const std::string longest(65535, 'y');
  store_message(store, longest);
  store_message(store, std::string_view("behind"));
  EXPECT_EQ(stored_message(store, 1), "");
  EXPECT_EQ(stored_message(store, 2), longest);
  EXPECT_EQ(stored_message(store, 3), "behind");
}

// Messages of one length meet the end of a chunk with every possible remainder.
TEST(MessageStore, CrossesTheEndsOfItsChunksUnharmed) {
  for (const std::size_t length : {std::size_t{1}, std::size_t{147}, std::size_t{1478}, std::size_t{65534}}) {
    SCOPED_TRACE(length);
    MessageStore store;
    StoreModel model;
    for (std::size_t stored = 0; stored < 5 * MessageStore::chunk_bytes; stored += length + 2) {
      const std::string message(length, static_cast<char>('a' + model.next_sequence % 26));
      store_message(store, message);
      add(model, message);
    }
    EXPECT_TRUE(same_everywhere(store, model));
  }
}

TEST(MessageStore, AMessageThatFillsAChunkToItsEndIsWhole) {
  MessageStore store;
  StoreModel model;
  const auto both = [&](const std::string& message) {
    store_message(store, message);
    add(model, message);
  };
  for (std::size_t left = MessageStore::chunk_bytes; left > 0; left -= 32768) both(std::string(32766, 'c'));
  both("first of the next chunk");
  EXPECT_TRUE(same_everywhere(store, model));
}

TEST(MessageStore, EqualsAPlainQueueOverRandomLengths) {
  constexpr std::uint32_t seed = 7;
  std::mt19937 random(seed);
  MessageStore store;
  StoreModel model;
  for (int i = 0; i < 450'000; ++i) {
    const std::size_t length = random() % 1000 == 0 ? random() % 5000 : random() % 40;
    const std::string message(length, static_cast<char>('a' + random() % 26));
    store_message(store, message);
    add(model, message);
    if (i % 100'000 == 99'999) {
      ASSERT_TRUE(same_everywhere(store, model)) << "seed " << seed;
    }
  }
  EXPECT_TRUE(same_everywhere(store, model)) << "seed " << seed;
}

TEST(MessageStore, GivesBackTheMemoryOfWhatItEvicts) {
  MessageStore store;
  const std::string message(147, 'm');
  std::size_t most_chunks = 0;
  for (int i = 0; i < 1'000'000; ++i) {
    store_message(store, message);
    most_chunks = std::max(most_chunks, store.chunks.size());
  }
  // 400000 blocks of 149 bytes, and one chunk at each end that is not full.
  EXPECT_LE(most_chunks, 400'000 * 149 / MessageStore::chunk_bytes + 2);
}

std::string bytes_of(const StoredRun& run) {
  return {run.blocks.data(), run.blocks.size()};
}

// The blocks that a run must hold, one by one.
std::string blocks_between(const MessageStore& store, std::uint64_t sequence, std::uint64_t end) {
  std::string blocks;
  for (; sequence < end; ++sequence) {
    const std::span<const char> block = stored_block(store, sequence);
    blocks.append(block.data(), block.size());
  }
  return blocks;
}

TEST(StoredRun, HoldsAsManyBlocksAsTakeTheBytesGiven) {
  MessageStore store;
  for (int i = 0; i < 5; ++i) store_message(store, std::string(10, 'm'));  // blocks of 12 bytes
  EXPECT_EQ(stored_run(store, 1, 6, 11).count, 0U);
  EXPECT_EQ(stored_run(store, 1, 6, 12).count, 1U);
  EXPECT_EQ(stored_run(store, 1, 6, 35).count, 2U);
  EXPECT_EQ(stored_run(store, 1, 6, 36).count, 3U);
  EXPECT_EQ(stored_run(store, 5, 6, 11).count, 0U);
  EXPECT_EQ(bytes_of(stored_run(store, 1, 6, 35)), blocks_between(store, 1, 3));
}

TEST(StoredRun, EndsBeforeTheMessageGivenAndBehindTheNewest) {
  MessageStore store;
  append_numbered(store, 9);
  EXPECT_EQ(bytes_of(stored_run(store, 3, 7, 1000)), blocks_between(store, 3, 7));
  EXPECT_EQ(bytes_of(stored_run(store, 3, 10, 1000)), blocks_between(store, 3, 10));
  EXPECT_EQ(stored_run(store, 4, 4, 1000).count, 0U);
}

// Runs cover the store without a gap and stop at its seams only, where blocks do not lie end to end.
TEST(StoredRun, FollowEachOtherOverTheSeamsOfTheMemory) {
  std::mt19937 random(7);
  MessageStore store;
  for (int i = 0; i < 30'000; ++i) store_message(store, std::string(random() % 300, static_cast<char>('a' + i % 26)));
  const std::uint64_t end = store.appended + 1;
  std::uint64_t seams = 0;
  for (std::uint64_t sequence = 1; sequence < end;) {
    const StoredRun run = stored_run(store, sequence, end, 1480);
    ASSERT_GT(run.count, 0U) << sequence;
    ASSERT_EQ(bytes_of(run), blocks_between(store, sequence, sequence + run.count)) << sequence;
    sequence += run.count;
    if (sequence < end && run.blocks.size() + stored_block(store, sequence).size() <= 1480) ++seams;
  }
  EXPECT_EQ(seams, store.end / MessageStore::chunk_bytes);
}

TEST(FetchAhead, TakesEveryNumberFromTheOldestOn) {
  MessageStore store;
  fetch_ahead(store, 1, 1500);
  append_numbered(store, 20);
  for (std::uint64_t sequence = 1; sequence <= 22; ++sequence) fetch_ahead(store, sequence, 1500);
  EXPECT_EQ(stored_message(store, 20), "20");
}

}  // namespace
}  // namespace vorbeld
