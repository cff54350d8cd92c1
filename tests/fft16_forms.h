// The transforms of int16 signals, each in place and not, with the float32 one behind them.
#pragma once
#include <functional>

#include "tests/support/support.h"

namespace moxtest {

struct Form16 {
  using Ints = std::vector<int16_t>;
  using Floats = std::vector<float>;

  std::string name;
  size_t arrays;              // one, or two of the same length
  bool real;                  // the table of order - 1
  std::string first, second;  // array names: first + "Samps", first + "InSamps" ...
  size_t perSample, moreIn, moreOut;
  std::vector<int32_t> flags;  // besides the direction
  // Input arrays, output arrays (the same ones in place).
  std::function<void(const int16_t* const*, int16_t* const*, bool inPlace, int32_t order, int32_t flags, int32_t mode,
                     int32_t* factor)>
      call;
  std::function<void(std::vector<Floats>&, int32_t order, int32_t flags)> runFloat;

  size_t in(int32_t order) const { return (perSample << order) + moreIn; }
  size_t out(int32_t order) const { return (perSample << order) + moreOut; }

  std::vector<std::string> arrayNames(bool inPlace) const {
    if (inPlace && arrays == 1) return {"samps"};
    if (inPlace) return {first + "Samps", second + "Samps"};
    if (arrays == 1) return {"inSamps", "outSamps"};
    return {first + "InSamps", second + "InSamps", first + "OutSamps", second + "OutSamps"};
  }

  // The results of one call on arrays between guard pages.
  std::vector<Ints> run(const std::vector<Ints>& values, int32_t order, int32_t flagWord, int32_t mode, int32_t* factor,
                        bool inPlace) const {
    std::vector<std::unique_ptr<Guarded<int16_t>>> source, target;
    const int16_t* from[2] = {};
    int16_t* to[2] = {};
    for (size_t i = 0; i < arrays; ++i) {
      const size_t room = inPlace ? std::max(in(order), out(order)) : out(order);
      target.push_back(std::make_unique<Guarded<int16_t>>(room));
      to[i] = target[i]->data();
      if (inPlace) {
        std::memcpy(to[i], values[i].data(), values[i].size() * sizeof(int16_t));
        from[i] = to[i];
      } else {
        source.push_back(std::make_unique<Guarded<int16_t>>(values[i], Flush::AtEnd));
        source[i]->makeReadOnly();
        from[i] = source[i]->data();
      }
    }
    call(from, to, inPlace, order, flagWord, mode, factor);
    std::vector<Ints> results;
    for (size_t i = 0; i < arrays; ++i) results.emplace_back(to[i], to[i] + out(order));
    return results;
  }

  // A call that fails: `values` are the input and output arrays, unless they are to be null.
  void callRaw(std::vector<Ints>& values, int32_t order, int32_t flagWord, int32_t mode, int32_t* factor, bool inPlace,
               bool null) const {
    const int16_t* from[2] = {};
    int16_t* to[2] = {};
    for (size_t i = 0; i < arrays && !null; ++i) {
      to[i] = values[i].data();
      from[i] = inPlace ? to[i] : values[arrays + i].data();
    }
    call(from, to, inPlace, order, flagWord, mode, factor);
  }
};

inline std::vector<Form16> forms16() {
  std::vector<Form16> forms;
  const auto asV = [](const int16_t* p) { return reinterpret_cast<const MoxV*>(p); };
  const auto asVOut = [](int16_t* p) { return reinterpret_cast<MoxV*>(p); };
  const std::vector<int32_t> orders = {0, MOX_NoBitRev, MOX_InBitRev, MOX_OutBitRev};
  forms.push_back({"moxvFft", 1, false, "", "", 2, 0, 0, orders,
                   [=](auto* in, auto* out, bool inPlace, int32_t o, int32_t f, int32_t m, int32_t* s) {
                     inPlace ? moxvFft(asVOut(out[0]), o, f, m, s) : moxvFftNip(asV(in[0]), asVOut(out[0]), o, f, m, s);
                   },
                   [](std::vector<Form16::Floats>& v, int32_t o, int32_t f) {
                     moxcFft(reinterpret_cast<MoxC*>(v[0].data()), o, f);
                   }});
#define MOX_ONE16(name_, more_in, more_out, ...)                                                              \
  forms.push_back({"moxw" #name_,                                                                             \
                   1,                                                                                         \
                   true,                                                                                      \
                   "",                                                                                        \
                   "",                                                                                        \
                   1,                                                                                         \
                   more_in,                                                                                   \
                   more_out,                                                                                  \
                   {__VA_ARGS__},                                                                             \
                   [](auto* in, auto* out, bool inPlace, int32_t o, int32_t f, int32_t m, int32_t* s) {       \
                     inPlace ? moxw##name_(out[0], o, f, m, s) : moxw##name_##Nip(in[0], out[0], o, f, m, s); \
                   },                                                                                         \
                   [](std::vector<Form16::Floats>& v, int32_t o, int32_t f) { moxs##name_(v[0].data(), o, f); }});
  MOX_ONE16(RealFft, 0, 2, 0)
  MOX_ONE16(CcsFft, 2, 0, 0)
  MOX_ONE16(RealFftl, 0, 0, MOX_OutRCPack, MOX_OutRCPerm)
  MOX_ONE16(CcsFftl, 0, 0, MOX_InRCPack, MOX_InRCPerm)
#undef MOX_ONE16
#define MOX_TWO16(name_, float_, a, b, more_in, more_out, flags_)                                            \
  forms.push_back(                                                                                           \
      {#name_, 2, false, a, b, 1, more_in, more_out, flags_,                                                 \
       [](auto* in, auto* out, bool inPlace, int32_t o, int32_t f, int32_t m, int32_t* s) {                  \
         inPlace ? name_(out[0], out[1], o, f, m, s) : name_##Nip(in[0], in[1], out[0], out[1], o, f, m, s); \
       },                                                                                                    \
       [](std::vector<Form16::Floats>& v, int32_t o, int32_t f) { float_(v[0].data(), v[1].data(), o, f); }});
  const std::vector<int32_t> none = {0};
  MOX_TWO16(moxvrFft, moxcrFft, "re", "im", 0, 0, orders)
  MOX_TWO16(moxwReal2Fft, moxsReal2Fft, "x", "y", 0, 2, none)
  MOX_TWO16(moxwCcs2Fft, moxsCcs2Fft, "x", "y", 2, 0, none)
#undef MOX_TWO16
  return forms;
}

}  // namespace moxtest
