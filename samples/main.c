/* Uses the library only through its symbols, so the linker must find the
   members through the archive's symbol table. */
#include <stdint.h>
#include <stdio.h>
#include <stddef.h>

uint32_t crc32_update(uint32_t crc, const void *data, size_t length);
int fir_apply(const short *in, short *out, size_t n);

int main(void) {
  short in[8] = {4, 8, 12, 16, 20, 24, 28, 32}, out[8];
  fir_apply(in, out, 8);
  printf("crc=%08x last=%d\n", (unsigned)crc32_update(0, "123456789", 9), out[7]);
  return 0;
}
