#pragma once

#include <cstdint>

#include "platform/export.h"

/// Per-sample stages for voice harmony: filters, level, pitch, a modulated three-voice delay, noise
/// reduction.
///
/// The unit is a flat block of numbers: coefficients and running state of all stages. A host calls the stages
/// it wants once a sample, in the order it wants, and passes results from one to the next; no stage calls
/// another. They meet only in these fields: PitchExt writes pitchValue, which LF0adr and NRAuto read;
/// HgainUnit writes the tap gains that MDLY reads; the overloads of NR and NRAuto share one pair of filter
/// states, those of NRIn another, so they may be mixed from sample to sample.
///
/// Units: one call is one sample at 44100 Hz. Samples span the signed 32-bit range; levels and thresholds are
/// on the same scale, full scale 2^31. Delay values and pitchValue count samples.
///
/// Arithmetic: double precision in one fixed order of operations, the same to the bit on every processor and
/// with every compiler; where sines, cosines and powers enter (NRIn with frequencies, NRAuto), to the last
/// bit or two of the system's mathematics library. Nothing is reported and nothing is clamped but what is
/// said below: NaN and infinities go through the states as the arithmetic has it, and a state that became NaN
/// stays so.
///
/// Silence: decaying states end below the normal numbers; there a stage is up to three times slower than in
/// sound, not the fifty times that the processor alone would make it.
///
/// Threads: a unit serves one thread at a time; separate units share nothing. No stage allocates, locks or
/// calls the system.
///
/// Copies: assignment copies all fields, state included, and the two units then run on independently. To
/// reset a unit, assign a new one. There is no copy construction.
class CMM_API HarmonyUnit {
 public:
  /// Ready for every stage: each field has the value that stands at it.
  HarmonyUnit();
  ~HarmonyUnit();
  HarmonyUnit(const HarmonyUnit&) = delete;
  /// Copies every field.
  HarmonyUnit& operator=(const HarmonyUnit& other);

  /// First-order low-pass filter. Not of unit gain: a constant comes out 2.0308 times as large.
  /// @return the filtered sample; the two overloads share one state
  double FstLPF(std::int32_t sample);
  double FstLPF(double sample);

  /// Follows the level: each call closes 1/2048 of the gap to the sample's magnitude, up and down.
  /// @return the level *before* this sample; the two overloads share one state
  double LVS(std::int32_t sample);
  double LVS(double sample);

  /// Compressor curve, without state: 40 up to one percent of full scale, from there falling to 0.5 at full
  /// scale, so that level * CPRS(level) is a straight line.
  /// @param level as LVS gives it
  /// @return the gain for a signal of that level; cprsMaxGain for a NaN
  double CPRS(double level);

  /// Moves the three tap gains of MDLY toward their targets, 1/32 of the remaining distance a call.
  void HgainUnit(double target1, double target2, double target3);

  /// Turns a voice into pulses: a strong steady tone gives one sharp pulse a period. Nonlinear; its states
  /// stay bounded for samples up to somewhat above the 32-bit range. After a tone it rings on for some dozens
  /// of calls and then gives 0, while its states settle at values that are not 0.
  /// @return the pulse signal, what PitchExt searches for peaks
  double VPF(double sample);

  /// Counts the calls between peaks of a pulse signal into pitchValue.
  ///
  /// A pulse above the decaying pitchPeak is a peak; it is accepted from 44 counted calls after the last one
  /// on, and counts of more than 768 count as 768. pitchValue holds the last accepted result; there is no
  /// time-out.
  /// @param pulse as VPF gives it
  /// @param level as LVS gives it; below pitchLevelFloor the call changes nothing at all
  void PitchExt(double pulse, double level);

  /// Moves the three delay values by a rate each; one that reaches pitchValue on its way from zero jumps to
  /// the other side, a whole period away. Voices are taken in the order 1, 2, 3.
  /// @param out1,out2,out3 receive the delay values, for MDLY; null: the voice stands still in this call
  /// @param rate1,rate2,rate3 samples a call
  void LF0adr(double* out1, double* out2, double* out3, double rate1, double rate2, double rate3);

  /// Reads a delay line at three places, interpolating linearly, each weighted with its tap gain.
  ///
  /// Entry 512 has the delay value 0.0, positive values lie above. A delay value that is not whole reads the
  /// entries on both sides; one that is reads the entry itself and, with weight 0, the one above. The
  /// difference of two entries is taken modulo 2^32.
  ///
  /// The line has no length here, and nothing is checked: the caller sees to it that the entries on both
  /// sides of every delay value exist. For 1024 entries that is a delay value from -512.0 up to, but not
  /// including, 511.0.
  /// @param line the host's samples; not touched when all taps are null
  /// @param tap1,tap2,tap3 delay values in samples, as LF0adr gives them; a null tap counts as silent
  /// @return a third of the sum of the taps, also when fewer than three take part
  double MDLY(const std::int32_t* line, const double* tap1, const double* tap2, const double* tap3);

  /// The same over a ring of 1024 entries: delay value 0.0 stands at entry 512 + ring, counted round the
  /// ring.
  ///
  /// Reads nothing outside the 1024 entries whatever the arguments: a delay value beyond -512.0 or 512.0
  /// reads the entry at that limit (an infinite one or a NaN gives NaN), and of @p ring the lowest ten bits
  /// count.
  /// @param ring 0 to 1023
  double MDLY(const std::int32_t* line, std::int32_t ring, const double* tap1, const double* tap2,
              const double* tap3);

  /// Band limitation, about 200 to 1000 Hz: a low-pass and a high-pass section, the gain nrOutputGain, and
  /// saturation to 32 bits, cut toward zero (a NaN gives the least value).
  std::int32_t NR(double sample);
  /// The same with @p gain instead of nrOutputGain.
  std::int32_t NR(double sample, double gain);

  /// The same as NR on states and coefficients of its own, about 200 to 800 Hz, with nrInOutputGain, which
  /// is 3.
  /// @return a whole number of the 32-bit range
  double NRIn(double sample);
  /// The same with @p gain instead of nrInOutputGain.
  double NRIn(double sample, double gain);

  /// The same as NRIn(double) with the band's ends in hertz; two sines and two cosines a call. Stable for
  /// ends between 0 and 22050 Hz, both excluded (LPFParam tells why). At 0 Hz the low-pass gives 0 and the
  /// high-pass lets everything pass, while the state of either adds up its input. From 22050 up to 44100 Hz,
  /// and from 0 down to -22050, states grow without end, and the result is a constant sooner or later.
  double NRIn(double sample, double lpfHz, double hpfHz);

  /// NR with a band that follows the pitch: from 50 Hz below the lowest to 50 Hz above the highest of three
  /// voices, which stand the given intervals above 44100 / pitchValue Hz. Without a pitch (pitchValue 0.0)
  /// the intervals do not count and the band goes from 0 to 50 Hz. A NaN is no highest and no lowest, unless
  /// it is the first of the three.
  ///
  /// Stable while the highest voice lies below 22000 Hz, which is the host's care: from there on the low-pass
  /// state grows without end. With a lowest voice of 50 Hz or less the band begins at 0 Hz, where the
  /// high-pass state adds up its input and gives it back once the band moves.
  /// @param cents1,cents2,cents3 intervals in cents, 1200 to the octave, in any order
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
  double lvsRise = 0x1p-11;  ///< part of the gap closed by a call when the magnitude is at or above the level
  double lvsFall = 0x1p-11;  ///< the same when it is below the level
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
  std::int32_t pitchLevelFloor = 1 << 22;  ///< level below which PitchExt does nothing
  double pitchPeak = 0.0;                  ///< decaying peak of the pulse signal
  double pitchPeakDecay = 1.0 - 0x1p-9;    ///< factor on pitchPeak in each counted call
  std::int32_t pitchCountStep = 1 << 20;   ///< what a counted call adds to pitchCount
  std::int32_t pitchCount = 0;             ///< calls since the last accepted peak, with 20 fraction bits
  std::int32_t pitchCountMax = 768 << 20;  ///< pitchCount stops here
  std::int32_t pitchCountMin = 44 << 20;   ///< least pitchCount at which a peak is accepted
  double pitchValue = 0.0;  ///< pitch: half a period in samples, 22.0 to 384.0 in steps of 0.5; 0 before
                            ///< the first accepted peak
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

  /// @p value shifted left by @p count bits, or right by -@p count, keeping the sign. Bits beyond the word
  /// are lost: 32 and more to the left give 0, to the right 0 or -1.
  std::int32_t ashift(std::int32_t value, std::int32_t count);

  /// Cut toward zero, saturating at the 32-bit limits; a NaN gives the lower one.
  std::int32_t fix(double value);

  /// @p value as a fixed-point word: value / 2^fractionBits, exactly (0.0 where that is no double any more).
  double VirturalFl(std::int32_t value, std::uint16_t fractionBits);

  /// Coefficients of a first-order low-pass section for a frequency in hertz. Any value gives some; the
  /// section is stable from above 0 to below 22050 Hz, and as far above every multiple of 44100 Hz. Its pole,
  /// the feedback, is (1 - sin a) / cos a = tan(pi / 4 - a / 2) with the angle a = 2 pi hertz / 44100: it
  /// goes from 1 at 0 Hz by 0 at 11025 Hz to -1 at 22050 Hz, and is beyond them up to 44100 Hz.
  void LPFParam(double hertz, double* feedback, double* oldGain, double* newGain);

  /// The same for a high-pass section, with the same pole.
  void HPFParam(double hertz, double* feedback, double* oldGain, double* newGain);
};
