#include "feed/message_store.h"

#include <algorithm>
#include <cassert>
#include <limits>

#include "common/big_endian.h"
#include "feed/mold_packet.h"

namespace vorbeld {
namespace {

std::uint64_t& position_of(const MessageStore& store, std::uint64_t sequence) {
  return store.positions[(sequence - 1) % most_stored_messages];
}

char* bytes_at(const MessageStore& store, std::uint64_t position) {
  const auto& chunk = store.chunks[position / MessageStore::chunk_bytes - store.first_chunk];
  return chunk.get() + position % MessageStore::chunk_bytes;
}

void release_chunks_before(MessageStore& store, std::uint64_t position) {
  for (; store.first_chunk < position / MessageStore::chunk_bytes; ++store.first_chunk) store.chunks.pop_front();
}

// Makes the chunk that holds `position` exist. Positions grow by less than a chunk at a time.
void provide_chunk(MessageStore& store, std::uint64_t position) {
  if (position / MessageStore::chunk_bytes < store.first_chunk + store.chunks.size()) return;
  store.chunks.push_back(std::make_unique_for_overwrite<char[]>(MessageStore::chunk_bytes));
}

}  // namespace

std::size_t stored_count(const MessageStore& store) {
  return std::min<std::uint64_t>(store.appended, most_stored_messages);
}

std::uint64_t oldest_stored(const MessageStore& store) {
  return store.appended - stored_count(store) + 1;
}

std::span<const char> store_message(MessageStore& store, std::span<const char> message) {
  assert(message.size() <= std::numeric_limits<std::uint16_t>::max());
  const std::size_t length = mold::block_prefix + message.size();
  const std::size_t left_in_chunk = MessageStore::chunk_bytes - store.end % MessageStore::chunk_bytes;
  const std::uint64_t position = length <= left_in_chunk ? store.end : store.end + left_in_chunk;

  ++store.appended;
  position_of(store, store.appended) = position;
  release_chunks_before(store, position_of(store, oldest_stored(store)));
  provide_chunk(store, position);
  store.end = position + length;

  char* const block = bytes_at(store, position);
  put_u16(block, static_cast<std::uint16_t>(message.size()));
  std::copy(message.begin(), message.end(), block + mold::block_prefix);
  return {block, length};
}

std::span<const char> stored_block(const MessageStore& store, std::uint64_t sequence) {
  assert(sequence >= oldest_stored(store) && sequence <= store.appended);
  const char* const block = bytes_at(store, position_of(store, sequence));
  return {block, mold::block_prefix + std::size_t{take_u16(block)}};
}

StoredRun stored_run(const MessageStore& store, std::uint64_t sequence, std::uint64_t end, std::size_t most_bytes) {
  const std::uint64_t begin = position_of(store, sequence);
  const std::uint64_t chunk_end = begin - begin % MessageStore::chunk_bytes + MessageStore::chunk_bytes;
  std::size_t length = 0;
  std::uint16_t count = 0;
  for (; sequence < end; ++sequence, ++count) {
    // The next block begins where this one ends, but for the last of a chunk and the newest of all.
    const std::uint64_t next = sequence < store.appended ? position_of(store, sequence + 1) : chunk_end;
    const std::size_t longer = next < chunk_end ? next - begin : length + stored_block(store, sequence).size();
    if (longer > most_bytes) break;
    length = longer;
    if (next >= chunk_end) return {{bytes_at(store, begin), length}, static_cast<std::uint16_t>(count + 1)};
  }
  return {{bytes_at(store, begin), length}, count};
}

void fetch_ahead(const MessageStore& store, std::uint64_t sequence, std::size_t bytes) {
  constexpr std::size_t cache_line = 64;
  if (sequence > store.appended) return;
  const char* const begin = bytes_at(store, position_of(store, sequence));
  for (std::size_t at = 0; at < bytes; at += cache_line) __builtin_prefetch(begin + at);
}

}  // namespace vorbeld
