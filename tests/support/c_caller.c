/* A caller in plain C: structures by value, the header as C reads it. Compiled once per compiler, under a name each. */
#include "moxa1.h"

#if defined(_MSC_VER)
int _fltused = 0; /* normally its runtime library's */
#endif

static int isC(MoxC c, float re, float im) { return c.re == re && c.im == im; }
static int isZ(MoxZ z, double re, double im) { return z.re == re && z.im == im; }

/* 0, or the number of the first call that went wrong. */
int MOXTEST_CALLER(void);
int MOXTEST_CALLER(void) {
  const MoxC a = {6.0f, 8.0f}, b = {1.0f, -2.0f};
  const MoxZ x = {6.0, 8.0}, y = {1.0, -2.0};
  MoxC c[3];
  MoxZ z[3];
  int i;
  if (!isC(moxcAdd(a, b), 7.0f, 6.0f)) return 1;
  if (!isC(moxcSub(a, b), 5.0f, 10.0f)) return 2;
  if (!isC(moxcMpy(a, b), 22.0f, -4.0f)) return 3;
  if (!isC(moxcDiv(a, moxcSet(0.0f, 2.0f)), 4.0f, -3.0f)) return 4;
  if (!isC(moxcConj(a), 6.0f, -8.0f)) return 5;
  if (!isZ(moxzAdd(x, y), 7.0, 6.0)) return 6;
  if (!isZ(moxzSub(x, y), 5.0, 10.0)) return 7;
  if (!isZ(moxzMpy(x, y), 22.0, -4.0)) return 8;
  if (!isZ(moxzDiv(x, moxzSet(0.0, 2.0)), 4.0, -3.0)) return 9;
  if (!isZ(moxzConj(x), 6.0, -8.0)) return 10;
  moxcbSet(a, c, 3);
  moxcbMpy1(b, c, 3);
  moxzbSet(x, z, 3);
  moxzbSub1(y, z, 3);
  for (i = 0; i < 3; ++i) {
    if (!isC(c[i], 22.0f, -4.0f)) return 11;
    if (!isZ(z[i], 5.0, 10.0)) return 12;
  }
  return 0;
}
