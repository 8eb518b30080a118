// The most recent messages of the feed, kept for retransmission: a ring that holds at most 400000 of them in a few
// large chunks of memory and finds one by its sequence number without a search.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>

namespace vorbeld {

inline constexpr std::size_t most_stored_messages = 400'000;

// Messages are laid end to end as the blocks that packets carry (2-byte length, message), so that an answer is copied
// without looking inside. Positions count bytes since the first message of the run; chunk `position / chunk_bytes`
// holds them. A block never straddles two chunks.
struct MessageStore {
  static constexpr std::size_t chunk_bytes = std::size_t{256} * 1024;

  std::uint64_t appended = 0;     // messages since start; also the sequence number of the newest
  std::uint64_t end = 0;          // position behind the newest block
  std::uint64_t first_chunk = 0;  // number of chunks.front(); chunks before it held evicted messages only
  std::deque<std::unique_ptr<char[]>> chunks;
  // Position of each kept block; slot (sequence - 1) % most_stored_messages. Pages become resident as slots are used.
  std::unique_ptr<std::uint64_t[]> positions = std::make_unique_for_overwrite<std::uint64_t[]>(most_stored_messages);
};

// Number of messages kept.
std::size_t stored_count(const MessageStore& store);

// Sequence number of the oldest message kept; the next number to be appended when the store is empty.
std::uint64_t oldest_stored(const MessageStore& store);

// Appends a copy of `message` (at most 65535 bytes) under the next sequence number, evicting the oldest message of a
// full store, and returns its block: length prefix and bytes. Valid until the message is evicted.
std::span<const char> store_message(MessageStore& store, std::span<const char> message);

// The block of message `sequence`, which must be kept: from oldest_stored() to store.appended. Valid until evicted.
std::span<const char> stored_block(const MessageStore& store, std::uint64_t sequence);

// Blocks that lie end to end, so that they are copied as one.
struct StoredRun {
  std::span<const char> blocks;
  std::uint16_t count;  // of them
};

// The block of message `sequence`, which must be kept, and those behind it without a gap: as many as take `most_bytes`
// together, 65535 at most, and none of message `end`, at most one past the newest, or later. Empty when the first takes
// more. Valid until its first message is evicted.
StoredRun stored_run(const MessageStore& store, std::uint64_t sequence, std::uint64_t end, std::size_t most_bytes);

// Begins to fetch `bytes` bytes of the blocks of message `sequence`, when it is kept, and of those behind it, without
// waiting for them: a store of 60 MB lies outside the cache.
void fetch_ahead(const MessageStore& store, std::uint64_t sequence, std::size_t bytes);

}  // namespace vorbeld
