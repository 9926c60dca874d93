#pragma once
/// @file
/// Per-sample stages for harmony voices.

#include <cstdint>

#include "platform/export.h"

/// Per-sample stages for voice harmony: filters, level, pitch, a modulated three-voice delay, noise
/// reduction. docs/glossary.md has their formulas and where such filters are described, docs/harmony.md a
/// complete way to connect them.
///
/// The order of calls is the host's choice: once a sample, the stages that it wants, with the results of one
/// passed to the next. Three voices along with a lead, for example (`line` is a ring of 1024 samples):
/// @code
///   const double level = unit.LVS(sample);
///   unit.PitchExt(unit.VPF(sample), level);   // sets unit.pitchValue
///   line[ring] = sample;
///   ring = (ring + 1) % 1024;
///   unit.LF0adr(&d1, &d2, &d3, 0.26, -0.25, -0.5);
///   unit.HgainUnit(1.0, 1.0, 1.0);
///   const double voices = unit.MDLY(line, ring, &d1, &d2, &d3);
/// @endcode
///
/// Threads: any thread, but one at a time for a unit; separate units share nothing. No stage allocates, locks
/// or calls the system.
///
/// The unit is a flat block of numbers: coefficients and running state of all stages. No stage calls another.
/// They meet only in these fields: PitchExt writes pitchValue, which LF0adr and NRAuto read; HgainUnit writes
/// the tap gains that MDLY reads; the overloads of NR and NRAuto share one pair of filter states, those of
/// NRIn another, so they may be mixed from sample to sample.
///
/// Units of measure: one call is one sample at 44100 Hz. Samples span the signed 32-bit range; levels and
/// thresholds are on the same scale, full scale 2^31. Delay values and pitchValue count samples.
///
/// Arithmetic: double precision in one fixed order of operations, the same to the bit on every processor and
/// with every compiler; where sines, cosines and powers enter (NRIn with frequencies, NRAuto), to the last
/// bit or two of the system's mathematics library. Nothing is reported, and nothing is clamped except where
/// it is said below: NaN and infinities pass through the states, and a state that became NaN stays so.
///
/// Silence: decaying states end as subnormal numbers; there a stage is up to three times slower than in
/// sound, not the fifty times that the processor alone would make it.
///
/// Copies: assignment copies all fields, state included, and the two units then run on independently. To
/// reset a unit, assign a new one. There is no copy construction.
/// @ingroup harmony
class CMM_API HarmonyUnit {
 public:
  /// Ready for every stage: each field has the value that is given at its declaration.
  HarmonyUnit();
  ~HarmonyUnit();  ///< Releases nothing: a unit owns only its fields.
  HarmonyUnit(const HarmonyUnit&) = delete;
  /// Copies every field.
  HarmonyUnit& operator=(const HarmonyUnit& other);

  /// First-order low-pass filter. A constant comes out 2.0308 times as large.
  /// @param sample full scale 2^31
  /// @return the filtered sample; the two overloads share one state
  double FstLPF(std::int32_t sample);
  /// @copydoc FstLPF(std::int32_t)
  double FstLPF(double sample);

  /// Follows the level: each call closes 1/2048 of the gap to the sample's magnitude, up and down.
  /// @param sample full scale 2^31
  /// @return the level *before* this sample; the two overloads share one state
  double LVS(std::int32_t sample);
  /// @copydoc LVS(std::int32_t)
  double LVS(double sample);

  /// Compressor curve, without state: 40 up to one percent of full scale, from there falling to 0.5 at full
  /// scale, so that level * CPRS(level) is a straight line.
  /// @param level as LVS gives it
  /// @return the gain for a signal of that level; cprsMaxGain for a NaN
  double CPRS(double level);

  /// Moves the three tap gains of MDLY toward their targets, by 1/32 of the remaining distance a call.
  /// @param target1,target2,target3 gains, 1.0 for unity
  void HgainUnit(double target1, double target2, double target3);

  /// Turns a voice into pulses: a strong steady tone gives one sharp pulse a period. Nonlinear; its states
  /// stay bounded for samples up to somewhat above the 32-bit range. After a tone it rings for some dozens of
  /// calls and then gives 0, while its states settle at values that are not 0.
  /// @param sample full scale 2^31
  /// @return the pulse signal, in which PitchExt searches for peaks
  double VPF(double sample);

  /// Counts the calls between peaks of a pulse signal and sets pitchValue to half of that.
  ///
  /// A pulse above the decaying pitchPeak is a peak. It is accepted when at least 44 calls have been counted
  /// since the last accepted one; counts stop at 768. pitchValue holds the last accepted result, also when
  /// the voice has ended.
  /// @param pulse as VPF gives it
  /// @param level as LVS gives it; below pitchLevelFloor the call changes nothing at all
  void PitchExt(double pulse, double level);

  /// Moves the three delay values by a rate each; one that reaches pitchValue on its way from zero changes
  /// its sign, a jump of one period. Voices are taken in the order 1, 2, 3.
  /// @param out1,out2,out3 receive the delay values, for MDLY; null: the voice does not move in this call
  /// @param rate1,rate2,rate3 samples a call; the voice is 1 + rate times as high as the sound in the line
  void LF0adr(double* out1, double* out2, double* out3, double rate1, double rate2, double rate3);

  /// Reads a delay line at three delay values, interpolating linearly, each weighted with its tap gain.
  ///
  /// Delay value 0.0 is entry 512, and 1.0 is entry 513. A value with a fraction reads the entries on both
  /// sides; one without reads its entry and, with weight 0, the next one. The difference of two entries is
  /// taken modulo 2^32.
  ///
  /// The line has no length here, and nothing is checked: the caller makes sure that the entries on both
  /// sides of every delay value exist. For 1024 entries that is a delay value from -512.0 up to, but not
  /// including, 511.0.
  /// @param line the host's samples; not touched when all taps are null
  /// @param tap1,tap2,tap3 delay values in samples, as LF0adr gives them; a null tap counts as silent
  /// @return a third of the sum of the taps, also when fewer than three take part
  double MDLY(const std::int32_t* line, const double* tap1, const double* tap2, const double* tap3);

  /// The same over a ring of 1024 entries: delay value 0.0 is entry (512 + ring) modulo 1024.
  ///
  /// Reads nothing outside the 1024 entries whatever the arguments: a delay value beyond -512.0 or 512.0
  /// reads the entry at that limit (an infinite one or a NaN gives NaN).
  /// @param line the host's 1024 samples; not touched when all taps are null
  /// @param ring 0 to 1023: the line's first entry, which has the oldest sample; of other values the lowest
  ///             ten bits count
  /// @param tap1,tap2,tap3 delay values in samples, as LF0adr gives them; a null tap counts as silent
  /// @return a third of the sum of the taps, also when fewer than three take part
  double MDLY(const std::int32_t* line, std::int32_t ring, const double* tap1, const double* tap2,
              const double* tap3);

  /// Limits the band to about 200 to 1000 Hz: a low-pass and a high-pass section, then nrOutputGain.
  /// @param sample full scale 2^31
  /// @return the sample saturated to 32 bits and truncated toward zero; a NaN gives the least value
  std::int32_t NR(double sample);
  /// The same with another gain.
  /// @param sample full scale 2^31
  /// @param gain   in place of nrOutputGain
  /// @return as NR(double)
  std::int32_t NR(double sample, double gain);

  /// Limits the band to about 200 to 800 Hz: the same as NR with states and coefficients of its own, and with
  /// nrInOutputGain, which is 3.
  /// @param sample full scale 2^31
  /// @return an integer in the 32-bit range
  double NRIn(double sample);
  /// The same with another gain.
  /// @param sample full scale 2^31
  /// @param gain   in place of nrInOutputGain
  /// @return as NRIn(double)
  double NRIn(double sample, double gain);

  /// The same as NRIn(double) with other ends of the band; takes two sines and two cosines a call.
  ///
  /// Stable for ends between 0 and 22050 Hz, both excluded (LPFParam has the reason). At 0 Hz the low-pass
  /// gives 0 and the high-pass lets everything pass, while the state of either adds up its input. From 22050
  /// up to 44100 Hz, and from 0 down to -22050, states grow without end, and the result is a constant sooner
  /// or later.
  /// @param sample full scale 2^31
  /// @param lpfHz  upper end, of the low-pass, in hertz
  /// @param hpfHz  lower end, of the high-pass, in hertz
  /// @return as NRIn(double)
  double NRIn(double sample, double lpfHz, double hpfHz);

  /// NR with a band that follows the pitch: from 50 Hz below the lowest to 50 Hz above the highest of three
  /// voices, which are the given intervals above 44100 / pitchValue Hz. Without a pitch (pitchValue 0.0) the
  /// intervals do not count and the band goes from 0 to 50 Hz. A NaN is no highest and no lowest, unless it
  /// is the first of the three.
  ///
  /// Stable while the highest voice is below 22000 Hz, which the host has to ensure: from there on the
  /// low-pass state grows without end. With a lowest voice of 50 Hz or less the band begins at 0 Hz, where
  /// the high-pass state adds up its input and gives it back once the band moves.
  /// @param sample full scale 2^31
  /// @param cents1,cents2,cents3 intervals in cents, 1200 to the octave, in any order
  /// @return as NR(double)
  std::int32_t NRAuto(double sample, double cents1, double cents2, double cents3);

  /// @name FstLPF
  /// @{
  double fstLPFState = 0.0;        ///< recursive state
  double fstLPFFeedback = 0.9935;  ///< feedback coefficient
  double fstLPFOldGain = 0.0066;   ///< output coefficient on the state before the update
  double fstLPFNewGain = 0.0066;   ///< output coefficient on the state after the update
  /// @}

  /// @name LVS
  /// @{
  double lvsLevel = 0.0;     ///< followed level, full scale 2^31
  double lvsRise = 0x1p-11;  ///< share of the gap closed by a call, magnitude at or above the level
  double lvsFall = 0x1p-11;  ///< the same, magnitude below the level
  /// @}

  /// @name CPRS
  /// @{
  double cprsOffset = 0.10101010101;      ///< constant term of the curve above the threshold
  double cprsScale = 856824283.796;       ///< numerator of the curve above the threshold
  std::int32_t cprsThreshold = 21474836;  ///< level up to which the gain is flat: 0.01 of full scale
  double cprsMaxGain = 40.0;              ///< the flat gain
  /// @}

  /// @name VPF
  /// @{
  double vpfInputScale = 1e-08;      ///< factor on the input
  double vpfX = 0.0;                 ///< first state variable
  double vpfCubic = 0.0667;          ///< coefficient of the cube of vpfX in the first equation
  double vpfSquare = 0.7;            ///< coefficient of the square of vpfX in the first equation
  double vpfY = 0.0;                 ///< second state variable
  double vpfOutputGain = 5000000.0;  ///< factor on the output
  double vpfDamping = 10.0;          ///< coefficient of vpfY in the second equation
  double vpfStep = 0.05;             ///< integration step
  double vpfDiff1 = 0.0;             ///< memory of the first difference
  double vpfDiff2 = 0.0;             ///< memory of the second difference
  /// @}

  /// @name PitchExt
  /// @{
  std::int32_t pitchLevelFloor = 1 << 22;  ///< level below which PitchExt does nothing, -54 dB
  double pitchPeak = 0.0;                  ///< decaying peak of the pulse signal
  double pitchPeakDecay = 1.0 - 0x1p-9;    ///< factor on pitchPeak in each counted call
  std::int32_t pitchCountStep = 1 << 20;   ///< what a counted call adds to pitchCount
  std::int32_t pitchCount = 0;             ///< calls since the last accepted peak, with 20 fraction bits
  /// Longest period, where pitchCount stops: below 1022, which is all that the line of MDLY holds. Lowest
  /// pitch, 57.4 Hz.
  std::int32_t pitchCountMax = 768 << 20;
  std::int32_t pitchCountMin = 44 << 20;  ///< shortest period that is accepted. Highest pitch, 1002 Hz
  /// Half a period in samples, 22.0 to 384.0 in steps of 0.5; 0 before the first accepted peak.
  double pitchValue = 0.0;
  /// @}

  /// @name LF0adr
  /// @{
  double lf0Delay1 = 0.0;  ///< delay value of voice 1 in samples
  double lf0Delay2 = 0.0;  ///< delay value of voice 2 in samples
  double lf0Delay3 = 0.0;  ///< delay value of voice 3 in samples
  /// @}

  /// @name HgainUnit
  /// @{
  double hgainInput = 0x1p-5;       ///< coefficient of the target
  double hgainHold = 1.0 - 0x1p-5;  ///< coefficient of the gain so far
  double hgain1 = 0.0;              ///< gain of tap 1
  double hgain2 = 0.0;              ///< gain of tap 2
  double hgain3 = 0.0;              ///< gain of tap 3
  /// @}

  /// @name NR and NRAuto
  /// @{
  double nrLpfState = 0.0;              ///< state of the low-pass section
  double nrHpfState = 0.0;              ///< state of the high-pass section
  double nrLpfFeedback = 0.8668;        ///< stored low-pass feedback coefficient, for 1000 Hz
  double nrLpfOldGain = 0.0666;         ///< stored low-pass coefficient on the old state
  double nrLpfNewGain = 0.0666;         ///< stored low-pass coefficient on the new state
  double nrHpfFeedback = 0.9719;        ///< stored high-pass feedback coefficient, for 200 Hz
  double nrHpfOldGain = -0.986;         ///< stored high-pass coefficient on the old state
  double nrHpfNewGain = 0.986;          ///< stored high-pass coefficient on the new state
  double nrOutputGain = 1.0 - 0x1p-31;  ///< output gain
  /// @}

  /// @name NRIn
  /// @{
  double nrInLpfState = 0.0;            ///< state of the low-pass section
  double nrInHpfState = 0.0;            ///< state of the high-pass section
  double nrInLpfFeedback = 0.89205429;  ///< stored low-pass feedback coefficient, for 800 Hz
  double nrInLpfOldGain = 0.05397286;   ///< stored low-pass coefficient on the old state
  double nrInLpfNewGain = 0.05397286;   ///< stored low-pass coefficient on the new state
  double nrInHpfFeedback = 0.9719;      ///< stored high-pass feedback coefficient, for 200 Hz
  double nrInHpfOldGain = -0.986;       ///< stored high-pass coefficient on the old state
  double nrInHpfNewGain = 0.986;        ///< stored high-pass coefficient on the new state
  double nrInOutputGain = 3.0;          ///< output gain

  /// @}

 private:
  /// Gives every field the value of a new unit.
  void InitParam();

  /// @p value shifted left by @p count bits, or right by -@p count, keeping the sign. Bits shifted out are
  /// lost: 32 and more to the left give 0, to the right 0 or -1.
  std::int32_t ashift(std::int32_t value, std::int32_t count);

  /// @p value truncated toward zero, saturating at the 32-bit limits; a NaN gives the lower one.
  std::int32_t fix(double value);

  /// The number that @p value is in fixed point: value / 2^fractionBits, exactly (0.0 where no double is as
  /// small).
  double VirturalFl(std::int32_t value, std::uint16_t fractionBits);

  /// Coefficients of a first-order low-pass section for a frequency in hertz. Any value gives some; the
  /// section is stable from above 0 to below 22050 Hz, and as far above every multiple of 44100 Hz. Its pole,
  /// the feedback, is (1 - sin a) / cos a = tan(pi / 4 - a / 2) with the angle a = 2 pi hertz / 44100: it
  /// goes from 1 at 0 Hz by 0 at 11025 Hz to -1 at 22050 Hz, and is beyond them up to 44100 Hz.
  void LPFParam(double hertz, double* feedback, double* oldGain, double* newGain);

  /// The same for a high-pass section, with the same pole.
  void HPFParam(double hertz, double* feedback, double* oldGain, double* newGain);
};
