#include "support/zone.h"

#include <cstdlib>
#include <cstring>

#include "support/checked_alloc.h"

namespace {
uint32_t zonesCreated = 0;
ZoneStatistics statistics = {0, 0};
}  // namespace

void zone_create(Zone* zone, uint32_t defaultBlockSize, const char* name, uint32_t flags) {
  zone->defaultBlockSize = defaultBlockSize;
  zone->bytesFree = 0;
  zone->blocks = nullptr;
  zone->bytesRequested = 0;
  zone->peakRequested = 0;
  zone->number = zonesCreated++;
  zone->name = name ? name : "";
  zone->flags = flags;
  zone->list.next = &zone->list;
  zone->list.prev = &zone->list;
  zone->listCount = 0;
}

void* zone_alloc(Zone* zone, uint32_t size) {
  if (zone->bytesFree < size) {
    uint32_t blockSize = size > zone->defaultBlockSize ? size : zone->defaultBlockSize;
    auto* block = static_cast<ZoneBlock*>(xcalloc(1, sizeof(ZoneBlock)));
    block->data = static_cast<uint8_t*>(xcalloc(1, blockSize));
    block->size = blockSize;
    block->previous = zone->blocks;
    zone->blocks = block;
    zone->bytesFree = blockSize;
    statistics.totalBlockBytes += blockSize;
    if (statistics.totalBlockBytes > statistics.peakBlockBytes)
      statistics.peakBlockBytes = statistics.totalBlockBytes;
  }
  ZoneBlock* block = zone->blocks;
  void* piece = block->data + (block->size - zone->bytesFree);
  // Each piece takes size + 1 bytes rounded up to even, so pieces start at
  // even offsets and a terminator byte always follows.
  if (zone->bytesFree - size < 2)
    zone->bytesFree = 0;
  else
    zone->bytesFree += ~size & ~1u;
  zone->bytesRequested += size;
  if (zone->bytesRequested > zone->peakRequested) zone->peakRequested = zone->bytesRequested;
  return piece;
}

void* zone_alloc_aligned(Zone* zone, uint32_t size, uint32_t alignment) {
  if (ZoneBlock* block = zone->blocks) {
    uint32_t offset = block->size - zone->bytesFree;
    uint32_t pad = (alignment - offset % alignment) % alignment;
    // Pieces advance in even steps, so a piece of pad - 1 bytes moves the
    // next one exactly to the boundary. Block data is malloc-aligned.
    if (pad != 0 && zone->bytesFree >= pad + size)
      zone_alloc(zone, pad - 1);
    else if (pad != 0)
      zone->bytesFree = 0;  // the next piece opens a new block
  }
  return zone_alloc(zone, size);
}

char* zone_strndup(Zone* zone, const char* text, uint32_t length) {
  auto* copy = static_cast<char*>(zone_alloc(zone, length + 1));
  std::memcpy(copy, text, length);
  copy[length] = '\0';
  return copy;
}

char* zone_strdup(Zone* zone, const char* text) {
  return zone_strndup(zone, text, static_cast<uint32_t>(std::strlen(text)));
}

void zone_release(Zone* zone) {
  while (ZoneBlock* block = zone->blocks) {
    zone->blocks = block->previous;
    statistics.totalBlockBytes -= block->size;
    std::free(block->data);
    std::free(block);
  }
  zone->bytesFree = 0;
}

const ZoneStatistics& zone_statistics() { return statistics; }
uint32_t zone_count() { return zonesCreated; }
