/* A moving-average FIR filter; the long file name goes to the name table. */
#include <stddef.h>

const int fir_taps = 4;
int fir_overflow_count;

int fir_apply(const short *in, short *out, size_t n) {
  int acc = 0;
  for (size_t i = 0; i < n; ++i) {
    acc += in[i];
    if (i >= (size_t)fir_taps) acc -= in[i - fir_taps];
    out[i] = (short)(acc / fir_taps);
  }
  return (int)n;
}

__attribute__((weak)) int fir_default_gain(void) { return 1; }
