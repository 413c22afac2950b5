// Memory zones: an arena for names and small records that live until the
// process ends. Pieces are never freed singly; the zone grows by blocks.
#pragma once

#include <cstdint>

struct ZoneBlock {
  uint8_t* data;
  uint32_t size;
  ZoneBlock* previous;  // the older block
};

struct ZoneListHead {  // owned list, unused by the zone's own operations
  ZoneListHead* next;
  ZoneListHead* prev;
};

struct Zone {
  uint32_t defaultBlockSize;
  uint32_t bytesFree;        // in the current (newest) block
  ZoneBlock* blocks;         // newest first
  uint32_t bytesRequested;
  uint32_t peakRequested;
  uint32_t number;
  const char* name;
  uint32_t flags;
  ZoneListHead list;
  uint64_t listCount;
};

// Process-wide statistics over all zones: block bytes handed out, and peak.
struct ZoneStatistics {
  uint32_t totalBlockBytes;
  uint32_t peakBlockBytes;
};

void zone_create(Zone* zone, uint32_t defaultBlockSize, const char* name, uint32_t flags);
void* zone_alloc(Zone* zone, uint32_t size);
// A piece that starts at a multiple of `alignment` (a power of two up to
// 16), for records: plain pieces are only 2-byte aligned.
void* zone_alloc_aligned(Zone* zone, uint32_t size, uint32_t alignment);
// A copy of `text` (with its terminator) in the zone.
char* zone_strdup(Zone* zone, const char* text);
char* zone_strndup(Zone* zone, const char* text, uint32_t length);

// Frees every block of the zone. The program itself never does; this is for
// harnesses that build many archive models in one process.
void zone_release(Zone* zone);

const ZoneStatistics& zone_statistics();
// Number of zones created so far in this process.
uint32_t zone_count();
