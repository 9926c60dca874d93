#pragma once

#include <cstdint>

#include "platform/export.h"
#include "platform/owners.h"
#include "platform/platform.h"

/// A RIFF/WAVE file, open for reading or for writing.
///
/// Sizes and positions come in bytes, in frames (one sample of every channel; the names say "sample") or in
/// seconds. A block is nBlockAlign bytes; for PCM that is a frame. Read and Write move whole blocks.
///
/// Results: operations give 1 for success and 0 for failure; queries give 0, 0.0 or null when no file is
/// open. A call in a state that does not allow it gives 0 and touches nothing. No exception leaves the class.
///
/// A file may have zeros in its format. An operation needs only the field that it divides by: Read, Write,
/// TimeFind and GetTimeToByte need nBlockAlign; GetSampleSize and GetNowSampleSize need nChannels and
/// wBitsPerSample, without which a file counts 0 frames; BeginConvert needs nBlockAlign and nAvgBytesPerSec.
/// So a compressed file without bits is read by blocks, converted, and tells its time.
///
/// Threads: an object serves one thread at a time, and so do an object and its copies together.
///
/// Copies share the file and the conversion that are open when the copy is made. What one closes or ends is
/// closed or ended for all; destroying one leaves both to the others, and the last closes them. Counts and
/// cursors are each object's own, but the file has one position, which each of them moves for all: let one
/// read or write. In a file open for writing that one is to close, too: a copy does not have its latest
/// bytes, and would finish the file without them.
class CMM_API CMMWav {
 public:
  CMMWav();
  CMMWav(const CMMWav& other);
  /// Gives up what this object holds, as its destructor does, and shares what @p other holds.
  CMMWav& operator=(const CMMWav& other);
  /// Closes an open file as Close(0) does, unless a copy holds it too.
  virtual ~CMMWav();

  /// Opens an existing file for reading, standing on its first sample byte.
  /// @param file      name, not empty; copied
  /// @param directory joined in front of the name with a backslash; null or empty for none; copied
  /// @return 1; 0 when a file is open already (which stays open), or the file is missing, unreadable or no
  ///         WAV file
  std::int32_t Open(const char* file, const char* directory = nullptr);

  /// Creates a PCM file for writing; one that exists is cut to zero length first.
  /// @param format nChannels, nSamplesPerSec, wBitsPerSample and cbSize are taken; the tag is always PCM,
  ///               block and byte rate are computed
  /// @return 1; 0 when a file is open already (which stays open) or the file cannot be created
  std::int32_t Open(WAVEFORMATEX format, const char* file, const char* directory = nullptr);

  /// Closes the file and releases what belongs to it; the object is closed afterwards whatever the result.
  /// @param frames written to the "fact" chunk of a file open for writing; 0: the frames that were written
  /// @return 1; 0 when no file was open or it could not be finished. A file on a full disk is finished with
  ///         what the disk took; the result is 0 when that is less than Write has taken.
  std::int32_t Close(std::uint32_t frames = 0);

  /// Back to the first sample byte of a file open for reading. @return 1; 0 otherwise
  std::int32_t Reset();

  /// Reads whole blocks.
  /// @param bytes     a multiple of the block size
  /// @param buffer    receives the bytes
  /// @param delivered receives the count: what was asked for, less at the end of the data (0 behind it), 0 on
  ///                  failure
  /// @return 1, at the end of the data too; 0 when @p bytes is no whole number of blocks, nBlockAlign is 0,
  ///         or the file ends ahead of its declared size (the position is then undefined until Reset or
  ///         SampleFind)
  std::int32_t Read(std::uint32_t bytes, void* buffer, std::uint32_t* delivered);

  /// Appends whole blocks to a file open for writing. Allocates nothing.
  /// @param bytes a multiple of the block size; otherwise 0 is returned and @p taken is not touched
  /// @param taken receives the count of bytes taken
  /// @return 1; 0 when the disk is full, nBlockAlign is 0 (samples below 8 bits, no channels), or the file's
  ///         sizes can hold no more (whole blocks that fit are taken)
  std::int32_t Write(std::uint32_t bytes, const void* data, std::uint32_t* taken);

  /// Goes to a frame of a file open for reading; the frame behind the last is allowed. In a file that counts
  /// no frames that is frame 0 alone, the first sample byte.
  /// @return 1; 0 for a frame beyond that, or when writing
  std::int32_t SampleFind(std::uint32_t sample);

  /// Goes to the block at a time in seconds, rounded down. @return as SampleFind; 0 when nBlockAlign is 0
  std::int32_t TimeFind(double seconds);

  std::uint32_t GetSampleSize();        ///< frames in the file, 0 without channels or bits; exact below 2^29
                                        ///< bytes of data
  std::uint32_t GetNowSampleSize();     ///< frames read or written so far
  std::uint32_t GetSampleSizeInBits();  ///< bits of one sample
  std::uint32_t GetSampleRate();        ///< in hertz
  std::uint32_t GetChannels();
  std::uint16_t GetFormat();  ///< format tag; 1 is PCM
  char* GetFileName();        ///< the name given to Open; the object's own, valid until Close
  char* GetPathName();        ///< the directory given to Open, empty for none; the object's own
  std::uint32_t GetFSize();   ///< bytes of the file as its RIFF header declares them; 8 while writing
  double GetPlayTime();       ///< seconds in the file: bytes by byte rate, as a quotient also where that is 0
  double GetNowTime();        ///< seconds read or written so far, in the same way
  /// Whether the file ends where the data still to be read ends. Moves the position to the end of the file:
  /// Reset or SampleFind brings it back. @return 1 or 0; 0 when writing
  std::int32_t ChkFileSize();
  /// Copies the 18 bytes of the format. @return 1; 0 when no file is open
  std::int32_t GetFileInfo(WAVEFORMATEX* out);

  std::uint32_t GetSampleToByte(
      std::uint32_t samples);                   ///< bytes of that many frames, 0 beyond the file's end
  std::uint32_t GetTimeToByte(double seconds);  ///< bytes of that time, rounded down to whole blocks; 0 when
                                                ///< nBlockAlign is 0

  /// Begins to convert what is read, up to one second of audio at a time.
  ///
  /// The tag of the format may change, or channels and rate may, but not both at once: a file in a compressed
  /// format goes to PCM of its own channels and rate first. In two stages the library's own linear filter
  /// changes the rate, and only 8 and 16 bits come out; the filter's state exists once for each of these
  /// widths in the process, so one such conversion at a time.
  /// @param singleStage 1: the platform's conversion does it all; another value: all but the rate
  /// @param target      format to convert to; what it has behind cbSize cannot come along. In two stages its
  ///                    block and byte rate must be those of its channels, bits and rate, with 2 channels at
  ///                    the most (4 of 8 bits)
  /// @param outBuffer   points to a null pointer; receives the buffer in which each Convert leaves its
  ///                    output: the object's own, valid until EndConvert or Close
  /// @param driver      the conversion driver to use; null leaves the choice to the platform
  /// @return the buffer's size: in two stages one second of the target, or at equal rates what the platform's
  ///         conversion may deliver where that is more; 0 when no file is open for reading, a conversion
  ///         runs, the formats do not go together, the file's nBlockAlign or nAvgBytesPerSec is 0, or memory
  ///         is short. EndConvert clears up what such a failure may leave
  std::uint32_t BeginConvert(std::int32_t singleStage, WAVEFORMATEX target, std::uint8_t** outBuffer,
                             HACMDRIVER driver);

  /// Reads and converts the next piece. Allocates nothing.
  /// @param bytes    of the file: whole blocks, one second of audio at the most
  /// @param outBytes receives the bytes of output, from the buffer's start on
  /// @return 1; 0 at the end of the data, without a conversion, and when the conversion failed
  std::int32_t Convert(std::uint32_t bytes, std::uint32_t* outBytes);
  /// Reads and converts the next second. @return bytes of output; 0 at the end, and on failure
  std::uint32_t Convert();

  std::uint32_t GetConvertSize();  ///< size of the conversion's buffer in bytes
  std::uint8_t* GetConvertBuf();   ///< the conversion's buffer, as BeginConvert gave it
  /// Ends a running conversion. @return 1; 0 when none is running
  std::uint32_t EndConvert();

  /// Adds a row to a combo box for each conversion driver: its name, and its identifier as the row's data.
  /// @return 1; 0 when the drivers cannot be listed
  std::int32_t ListUpDriver(HWND hwnd);
  /// @return the data of a row, as the combo box gives it, also for a row that it does not have
  HACMDRIVERID ListFromDriver(HWND hwnd, std::uint32_t index);
  HACMDRIVERID GetNowDriverID();  ///< the driver of the running conversion
  /// Tells about the driver of the running conversion. @return 1; 0 without one, @p details is untouched then
  std::int32_t GetDriverDetails(ACMDRIVERDETAILSA* details);

 private:
  enum OpenMode : std::uint32_t { kClosed, kReading, kWriting };

  struct CMM_LOCAL Object;      // opening, assigning and giving up
  struct CMM_LOCAL Conversion;  // setting up and giving back

  // The container layer: the RIFF structure of the file.
  std::int32_t ReadMMIO(HMMIO file, MMCKINFO* riff, WAVEFORMATEX** format);
  std::int32_t WriteMMIO(HMMIO file, MMCKINFO* scratch, MMCKINFO* riff, WAVEFORMATEX* format);
  std::int32_t OpenFileR(char* path, HMMIO* file, WAVEFORMATEX** format, MMCKINFO* riff);
  std::int32_t OpenFileW(char* path, HMMIO* file, WAVEFORMATEX* format, MMCKINFO* scratch, MMCKINFO* riff);
  std::int32_t ResetR();
  std::int32_t ResetW();
  std::int32_t CloseR();
  std::int32_t CloseW(std::uint32_t frames);
  std::int32_t FullPath(char* out, const char* file, const char* directory);

  std::uint32_t BeginConvOnce(WAVEFORMATEX target, std::uint8_t** outBuffer, HACMDRIVER driver);
  std::uint32_t BeginConvTwice(WAVEFORMATEX target, std::uint8_t** outBuffer, HACMDRIVER driver);
  MMRESULT softStreamConvert(HACMSTREAM stream, ACMSTREAMHEADER* header, DWORD flags,
                             std::uint32_t* outBytes);

  // What the fields name is valid while its owners say that it is open: a copy may have closed it.
  char* fileName = nullptr;
  char* pathName = nullptr;
  std::uint8_t* convertBuf = nullptr;
  WAVEFORMATEX* srcFormat = nullptr;
  WAVEFORMATEX* dstFormat = nullptr;
  HMMIO hmmio = nullptr;
  MMIOINFO mmioInfo = {};   // write mode: the live cursor in the file's buffer
  MMCKINFO dataChunk = {};  // read mode: cksize counts down the bytes still to be read
  MMCKINFO riffChunk = {};
  std::uint32_t openMode = kClosed;
  std::uint32_t dataBytes = 0;  // read mode: size of the data; write mode: bytes written so far
  std::uint32_t convertSize = 0;
  HACMDRIVERID driverId = nullptr;
  HACMSTREAM acmStream = nullptr;
  ACMSTREAMHEADER* streamHeader = nullptr;
  std::uint32_t convertKind = 0;  // 0 none, 1 single stage, 2 two stages, 3 refused
  std::uint8_t firstBlock = 1;    // 1 until the first block has gone through the filter
  cmm::Owners fileOwners;         // of file, names and srcFormat
  cmm::Owners conversionOwners;   // of stream, header, buffers and dstFormat
};
