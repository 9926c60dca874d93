#pragma once
/// @file
/// One WAV file: reading, writing and conversion.

#include <cstdint>

#include "platform/export.h"
#include "platform/owners.h"
#include "platform/platform.h"

/// One RIFF/WAVE file, open for reading or for writing: its format, its samples, seeking, and the conversion
/// of what is read to another format.
///
/// The order of calls: Open, then Write, or Read with SampleFind and TimeFind; Close.
/// @code
///   CMMWav wav;
///   if (wav.Open("take.wav") != 1) return;
///   std::vector<char> block(wav.GetTimeToByte(0.1));  // a tenth of a second, in whole blocks
///   const auto bytes = static_cast<std::uint32_t>(block.size());
///   std::uint32_t delivered = 0;
///   while (wav.Read(bytes, block.data(), &delivered) == 1 && delivered > 0) Use(block.data(), delivered);
///   wav.Close();
/// @endcode
/// A conversion runs between BeginConvert and EndConvert; Convert is called instead of Read then.
///
/// Threads: any thread, but one at a time for an object together with its copies. Separate objects are
/// independent of each other, except for the conversion in two stages (BeginConvert).
///
/// Sizes and positions come in bytes, in frames (one sample of every channel; the names say "sample") or in
/// seconds. A block is nBlockAlign bytes; for PCM that is a frame. Read and Write move whole blocks.
///
/// Results: operations give 1 for success and 0 for failure; queries give 0, 0.0 or null when no file is
/// open. A call in a state that does not allow it gives 0 and changes nothing. No exception leaves the class.
///
/// A file may have zeros in its format. An operation needs only the field that it divides by: Read, Write,
/// TimeFind and GetTimeToByte need nBlockAlign; GetSampleSize and GetNowSampleSize need nChannels and
/// wBitsPerSample, without which a file counts 0 frames; BeginConvert needs nBlockAlign and nAvgBytesPerSec.
/// So a compressed file with 0 bits can be read by blocks and converted, and its times are right.
///
/// Copies share the file and the conversion that are open when the copy is made. What one closes or ends is
/// closed or ended for all; destroying one leaves both to the others, and the last closes them. Counts and
/// cursors are each object's own, but the file has one position, which each of them moves for all: let one
/// read or write. In a file open for writing that one is to close, too: a copy does not have its latest
/// bytes, and would finish the file without them.
/// @ingroup wavfile
class CMM_API CMMWav {
 public:
  /// A closed object.
  CMMWav();
  /// Shares what @p other has open.
  CMMWav(const CMMWav& other);
  /// Gives up what this object has open, as its destructor does, and shares what @p other has open.
  CMMWav& operator=(const CMMWav& other);
  /// Closes an open file as Close(0) does, unless a copy still has it open.
  virtual ~CMMWav();

  /// Opens an existing file for reading. The position is then the first sample byte.
  /// @param file      name, not empty; copied
  /// @param directory joined in front of the name with a backslash; null or empty for none; copied
  /// @return 1: open
  /// @return 0: a file was open already, which stays open; or the file is missing, cannot be read or is no
  ///         WAV file, or memory is short: the object is closed then
  std::int32_t Open(const char* file, const char* directory = nullptr);

  /// Creates a PCM file for writing; one that exists is cut to zero length first.
  /// @param format    nChannels, nSamplesPerSec, wBitsPerSample and cbSize are taken; the tag is always PCM,
  ///                  block and byte rate are computed
  /// @param file      name, not empty; copied
  /// @param directory joined in front of the name with a backslash; null or empty for none; copied
  /// @return 1: open
  /// @return 0: a file was open already, which stays open; or the file cannot be created, or memory is short:
  ///         the object is closed then
  std::int32_t Open(WAVEFORMATEX format, const char* file, const char* directory = nullptr);

  /// Ends a conversion and closes the file; the object is closed afterwards whatever the result. A file open
  /// for writing gets its sizes and its frame count now.
  /// @param frames for the "fact" chunk of a file open for writing; 0: the frames that were written
  /// @return 1: closed
  /// @return 0: no file was open, or it could not be finished. A file on a full disk is finished with the
  ///         bytes that the disk took; the result is 0 when these are fewer than Write has taken
  std::int32_t Close(std::uint32_t frames = 0);

  /// Goes back to the first sample byte of a file open for reading.
  /// @return 1: there
  /// @return 0: no file is open for reading, or its samples are not found any more
  std::int32_t Reset();

  /// Reads whole blocks. In a file open for writing there are none to be read.
  /// @param bytes     a multiple of nBlockAlign
  /// @param buffer    the caller's, of that many bytes
  /// @param delivered receives the bytes that were read: as many as asked for, fewer across the end of the
  ///                  data (which may end within a block), 0 at the end and on failure
  /// @return 1: read; at the end of the data too
  /// @return 0: @p bytes is not a multiple of nBlockAlign, or nBlockAlign is 0; or the file ends before its
  ///         declared size: the position is then undefined until Reset or SampleFind
  std::int32_t Read(std::uint32_t bytes, void* buffer, std::uint32_t* delivered);

  /// Appends whole blocks to a file open for writing. Allocates nothing.
  /// @param bytes a multiple of nBlockAlign
  /// @param data  the caller's; copied
  /// @param taken receives the bytes that were taken; left alone when the call is refused because no file is
  ///              open for writing, a pointer is null or @p bytes is not a multiple of nBlockAlign
  /// @return 1: all taken
  /// @return 0: refused; or the disk is full; or nBlockAlign is 0 (samples of less than 8 bits, no channels);
  ///         or the file's sizes can hold no more (whole blocks that fit are taken)
  std::int32_t Write(std::uint32_t bytes, const void* data, std::uint32_t* taken);

  /// Goes to a frame of a file open for reading. In a compressed format it goes to a block, and one beyond
  /// the data is not refused: TimeFind is the call for these.
  /// @param sample frame, counted from 0; the one after the last is allowed, where Read gives 0 bytes. A file
  ///               that counts 0 frames has only frame 0, the first sample byte
  /// @return 1: there
  /// @return 0: the frame lies beyond that, or no file is open for reading
  std::int32_t SampleFind(std::uint32_t sample);

  /// Goes to the block at a time, rounded down.
  /// @param seconds from the first sample on
  /// @return 1: there
  /// @return 0: the time lies outside the file (or after the first block of a file that counts 0 frames),
  ///         nBlockAlign is 0, or no file is open for reading
  std::int32_t TimeFind(double seconds);

  /// The length of the file in frames.
  /// @return frames in the file; 0 without channels or bits; right for less than 2^29 bytes of data
  std::uint32_t GetSampleSize();
  /// The position in frames.
  /// @return frames read or written so far; right for less than 2^29 bytes
  std::uint32_t GetNowSampleSize();
  std::uint32_t GetSampleSizeInBits();  ///< bits of one sample
  std::uint32_t GetSampleRate();        ///< in hertz
  std::uint32_t GetChannels();          ///< samples in a frame
  std::uint16_t GetFormat();            ///< format tag; 1 is PCM
  char* GetFileName();                  ///< the name given to Open; the object's own, valid until Close
  char* GetPathName();       ///< the directory given to Open, empty for none; the object's own, until Close
  std::uint32_t GetFSize();  ///< bytes of the file as its RIFF header declares them; 8 while writing
  double GetPlayTime();      ///< seconds in the file; no finite number when nAvgBytesPerSec is 0
  double GetNowTime();       ///< seconds read or written so far; no finite number when nAvgBytesPerSec is 0

  /// Compares the end of the file with the end of the data still to be read: to be asked right after Open or
  /// Reset. Leaves the position at the end of the file: Reset or SampleFind brings it back.
  /// @return 1: they are the same
  /// @return 0: the file is shorter or longer (also by a pad byte or another chunk), or no file is open for
  ///         reading
  std::int32_t ChkFileSize();

  /// Copies the format.
  /// @param out receives its 18 bytes; left alone on failure
  /// @return 1: copied
  /// @return 0: no file is open, or @p out is null
  std::int32_t GetFileInfo(WAVEFORMATEX* out);

  /// Frames to bytes.
  /// @param samples frames, no more than the file has
  /// @return their bytes, rounded up to a byte; 0 for more frames than the file has
  std::uint32_t GetSampleToByte(std::uint32_t samples);

  /// Time to bytes, for Read and Convert.
  /// @param seconds 0 or more; may go beyond the file's end
  /// @return bytes of that time, rounded down to whole blocks, modulo 2^32; 0 when nBlockAlign is 0
  std::uint32_t GetTimeToByte(double seconds);

  /// Begins to convert what is read, up to one second of audio at a time.
  ///
  /// The tag of the format may change, or channels and rate may, but not both at once: a file in a compressed
  /// format goes to PCM of its own channels and rate first. In two stages the library's own linear filter
  /// changes the rate, and only targets of 8 and 16 bits have output. The filter's state exists once for each
  /// of these widths in the process: one such conversion at a time, whatever the thread.
  /// @param singleStage 1: the platform's conversion does it all; another value: all but the rate
  /// @param target      format to convert to; its bytes after cbSize are taken as zeros. In two stages its
  ///                    block and byte rate must be those of its channels, bits and rate, with 2 channels at
  ///                    the most (4 of 8 bits)
  /// @param outBuffer   points to a null pointer; receives the buffer in which each Convert leaves its
  ///                    output: the object's own, valid until EndConvert or Close
  /// @param driver      the conversion driver to use; null leaves the choice to the platform
  /// @return the buffer's size in bytes: in one stage what the platform's conversion may make of a second; in
  ///         two stages one second of the target, or at equal rates that of one stage where it is more
  /// @return 0: no file is open for reading, a conversion is running, @p outBuffer is null or points to a
  ///         buffer, the formats cannot be converted so, the file's nBlockAlign or nAvgBytesPerSec is 0, one
  ///         of the buffers would need more than 64 MiB, which no real format does, or memory is short.
  ///         EndConvert clears up what such a failure may leave
  std::uint32_t BeginConvert(std::int32_t singleStage, WAVEFORMATEX target, std::uint8_t** outBuffer,
                             HACMDRIVER driver);

  /// Reads and converts the next piece. Allocates nothing.
  ///
  /// In two stages of different rates a call gives at most one second of the target, and the filter drops
  /// what is beyond that: convert pieces of half a second.
  /// @param bytes    of the file: whole blocks, one second of audio at the most
  /// @param outBytes receives the bytes of output, which are at the start of the buffer
  /// @return 1: converted
  /// @return 0: the data is at its end, no conversion is running, @p bytes is not allowed, or reading or the
  ///         platform's conversion failed
  std::int32_t Convert(std::uint32_t bytes, std::uint32_t* outBytes);

  /// Reads and converts the next second.
  /// @return bytes of output, also of a conversion that the platform has given up; 0 at the end of the data,
  ///         without a conversion, and when reading failed
  std::uint32_t Convert();

  std::uint32_t GetConvertSize();  ///< size of the conversion's buffer in bytes
  std::uint8_t* GetConvertBuf();   ///< the conversion's buffer, as BeginConvert gave it

  /// Ends a conversion, and clears up after a BeginConvert that failed.
  /// @return 1: ended
  /// @return 0: there was none
  std::uint32_t EndConvert();

  /// Adds a row to a combo box for each conversion driver: its name, and its identifier as the row's data.
  /// @param hwnd the host's combo box
  /// @return 1: listed
  /// @return 0: the drivers cannot be listed
  std::int32_t ListUpDriver(HWND hwnd);

  /// Tells the driver of a row of the combo box.
  /// @param hwnd  the combo box that ListUpDriver has filled
  /// @param index of a row, from 0
  /// @return the row's data as the combo box gives it: an identifier, or its error value for a row that it
  ///         does not have
  HACMDRIVERID ListFromDriver(HWND hwnd, std::uint32_t index);

  HACMDRIVERID GetNowDriverID();  ///< the driver of the running conversion; null without one

  /// Describes the driver of the running conversion.
  /// @param details receives the description; left alone when no conversion is running
  /// @return 1: described
  /// @return 0: no conversion is running, @p details is null, or the driver does not answer
  std::int32_t GetDriverDetails(ACMDRIVERDETAILSA* details);

 private:
  enum OpenMode : std::uint32_t { kClosed, kReading, kWriting };

  struct CMM_LOCAL Object;      // opening, assigning and releasing
  struct CMM_LOCAL Conversion;  // setting up and releasing

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

  // What the pointers and handles refer to is valid while its owners say that it is open: a copy may have
  // closed it.
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
