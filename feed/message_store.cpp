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
  const FreshPages& chunk = store.chunks[position / MessageStore::chunk_bytes - store.first_chunk];
  return static_cast<char*>(chunk.get()) + position % MessageStore::chunk_bytes;
}

void release_chunks_before(MessageStore& store, std::uint64_t position) {
  for (; store.first_chunk < position / MessageStore::chunk_bytes; ++store.first_chunk) {
    store.spare = std::move(store.chunks.front());
    store.chunks.pop_front();
  }
}

// Makes the chunk that holds `position` exist. Positions grow by less than a chunk at a time.
void provide_chunk(MessageStore& store, std::uint64_t position) {
  if (position / MessageStore::chunk_bytes < store.first_chunk + store.chunks.size()) return;
  if (store.spare == nullptr) store.spare = make_fresh_pages(MessageStore::chunk_bytes);
  store.chunks.push_back(std::move(store.spare));
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

}  // namespace vorbeld
