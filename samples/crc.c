/* A table-driven CRC, as found in many DSP support libraries. */
#include <stdint.h>
#include <stddef.h>

uint32_t crc_table[256];
static int crc_ready;

static void crc_init(void) {
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    crc_table[i] = c;
  }
  crc_ready = 1;
}

uint32_t crc32_update(uint32_t crc, const void *data, size_t length) {
  const uint8_t *p = data;
  if (!crc_ready) crc_init();
  crc = ~crc;
  while (length--) crc = crc_table[(crc ^ *p++) & 0xFF] ^ (crc >> 8);
  return ~crc;
}
