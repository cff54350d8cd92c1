/* The spectrum of a sine, and the bin where it is largest. */
#include <math.h>
#include <moxa1.h>
#include <stdio.h>

int main(void) {
  enum { Order = 10, N = 1 << Order };
  float signal[N], spectrum[N + 2]; /* N/2 + 1 pairs (re, im) */
  for (int i = 0; i < N; ++i) signal[i] = sinf(0.3f * (float)i);

  moxSetErrMode(MOX_ErrModeSilent); /* this program asks for the status itself */
  moxsRealFftNip(signal, spectrum, Order, MOX_Forw);
  if (moxGetErrStatus() < 0) return fprintf(stderr, "%s\n", moxErrorStr(moxGetErrStatus())), 1;

  int largest = 0;
  for (int k = 1; k <= N / 2; ++k) {
    if (hypotf(spectrum[2 * k], spectrum[2 * k + 1]) > hypotf(spectrum[2 * largest], spectrum[2 * largest + 1]))
      largest = k;
  }
  printf("largest at bin %d of %d: %.4f radians per sample\n", largest, N / 2, largest * 6.2831853 / N);
}
