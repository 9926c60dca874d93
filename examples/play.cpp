// Plays a WAV file in the background: take.wav, or the one that is named.
#include "units/MCIWavUnit.h"
#include "wavfile/CMMWav.h"

int main(int argc, char** argv) {
  const char* const file = argc > 1 ? argv[1] : "take.wav";
  CMMWav wav;
  if (wav.Open(file) != 1) return 1;
  MCIWavUnit player;
  if (!player.WavPlay(file)) return 1;  // no device, or a format that nothing here plays
  // The unit does not report the end, and the sound begins a little after WavPlay.
  Sleep(static_cast<DWORD>(1000 * wav.GetPlayTime()) + 300);
  player.MCIClose();  // as does the destructor
}
