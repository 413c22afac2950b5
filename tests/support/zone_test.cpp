#include "support/zone.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace {

uint32_t offsetIn(const Zone& zone, const void* piece) {
  return static_cast<uint32_t>(static_cast<const uint8_t*>(piece) - zone.blocks->data);
}

TEST(Zone, PiecesTakeTheirSizePlusOneRoundedUpToEven) {
  Zone zone;
  uint32_t before = zone_count();
  zone_create(&zone, 1024, "", 0);
  EXPECT_EQ(zone_count(), before + 1);
  EXPECT_EQ(zone.blocks, nullptr);  // nothing allocated until asked
  void* a = zone_alloc(&zone, 10);
  EXPECT_EQ(offsetIn(zone, a), 0u);
  EXPECT_EQ(zone.bytesFree, 1012u);
  void* b = zone_alloc(&zone, 7);
  EXPECT_EQ(offsetIn(zone, b), 12u);
  EXPECT_EQ(zone.bytesFree, 1004u);
  EXPECT_EQ(zone.bytesRequested, 17u);
  EXPECT_EQ(zone.peakRequested, 17u);
  // Zero-filled, including the byte after each piece.
  for (int i = 0; i < 12; ++i) EXPECT_EQ(static_cast<uint8_t*>(a)[i], 0);
}

TEST(Zone, ExactFitLeavesNothingAndLargeRequestsGetTheirOwnBlock) {
  Zone zone;
  zone_create(&zone, 1024, "names", 0);
  zone_alloc(&zone, 24);
  ZoneBlock* first = zone.blocks;
  uint32_t rest = zone.bytesFree;
  zone_alloc(&zone, rest);
  EXPECT_EQ(zone.bytesFree, 0u);
  EXPECT_EQ(zone.blocks, first);

  uint32_t blockBytes = zone_statistics().totalBlockBytes;
  void* big = zone_alloc(&zone, 5000);
  EXPECT_NE(zone.blocks, first);
  EXPECT_EQ(zone.blocks->size, 5000u);
  EXPECT_EQ(zone.blocks->previous, first);
  EXPECT_EQ(static_cast<uint8_t*>(big), zone.blocks->data);
  EXPECT_EQ(zone.bytesFree, 0u);
  EXPECT_EQ(zone_statistics().totalBlockBytes, blockBytes + 5000u);
  EXPECT_GE(zone_statistics().peakBlockBytes, zone_statistics().totalBlockBytes);
  // The block is full, so the next piece opens another of the default size.
  zone_alloc(&zone, 1);
  EXPECT_EQ(zone.blocks->size, 1024u);
}

TEST(Zone, StringCopiesAreTerminated) {
  Zone zone;
  zone_create(&zone, 16, "", 0);
  char* s = zone_strdup(&zone, "abc");
  EXPECT_STREQ(s, "abc");
  char* t = zone_strndup(&zone, "defgh", 2);
  EXPECT_STREQ(t, "de");
  EXPECT_EQ(t - s, 6);  // "abc" asked for 4 bytes and took 6
}

}  // namespace

namespace {

TEST(Zone, AlignedPiecesForRecords) {
  Zone zone;
  zone_create(&zone, 64, "", 0);
  zone_alloc(&zone, 1);  // offset 0, next at 2
  void* a = zone_alloc_aligned(&zone, 16, 8);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % 8, 0u);
  EXPECT_EQ(offsetIn(zone, a), 8u);
  zone_alloc(&zone, 3);  // at 26, next at 30
  ZoneBlock* first = zone.blocks;
  // 34 bytes left in the block: 2 of padding and 30 would fit, 33 would not.
  void* b = zone_alloc_aligned(&zone, 33, 8);
  EXPECT_NE(zone.blocks, first);
  EXPECT_EQ(b, zone.blocks->data);
  zone_release(&zone);
  EXPECT_EQ(zone.blocks, nullptr);
}

}  // namespace
