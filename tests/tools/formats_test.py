#!/usr/bin/env python3
"""Everyone's WAV files: makes the files of the tables below with the programs that write them, and has cmm-convert
convert each. The result must be within one unit of 16 bits of what another reader makes of the file, or the refusal
must say what the file is.

formats_test.py CMM_CONVERT CMM_HARMONIZE
"""

import array
import math
import pathlib
import struct
import subprocess
import sys
import tempfile
import wave

FRAMES = 4000
PCM, FLOAT, A_LAW, MU_LAW = 1, 3, 6, 7
LATE, ODD, NO_EXTRA = "format behind the data", "other chunks around", "format of 16 bytes"

# The writer, its format, the rate and the channels.
CONVERTED = [
    ("sox", "-e unsigned -b 8", 8000, 1), ("sox", "-e signed -b 16", 11025, 1), ("sox", "-e signed -b 16", 44100, 2),
    ("sox", "-e signed -b 24", 48000, 1), ("sox", "-e signed -b 24", 96000, 2), ("sox", "-e signed -b 32", 192000, 2),
    ("sox", "-e float -b 32", 44100, 1), ("sox", "-e float -b 32", 88200, 2), ("sox", "-e float -b 64", 44100, 2),
    ("sox", "-e a-law", 8000, 1), ("sox", "-e mu-law", 16000, 2), ("sox", "-e ima-adpcm", 22050, 1),
    ("sox", "-e ms-adpcm", 44100, 2), ("sox", "-t wavpcm -b 24", 44100, 2), ("sox", "-b 16", 44100, 4),
    ("sox", "-b 24", 48000, 6), ("sox", "-b 32", 48000, 8), ("sox", "-e float -b 32", 48000, 5),
    ("ffmpeg", "pcm_u8", 22050, 2), ("ffmpeg", "pcm_s16le", 8000, 1), ("ffmpeg", "pcm_s24le", 48000, 1),
    ("ffmpeg", "pcm_s24le", 192000, 2), ("ffmpeg", "pcm_s32le", 96000, 2), ("ffmpeg", "pcm_f32le", 16000, 1),
    ("ffmpeg", "pcm_f32le", 176400, 2), ("ffmpeg", "pcm_f64le", 48000, 1), ("ffmpeg", "pcm_alaw", 8000, 2),
    ("ffmpeg", "pcm_mulaw", 8000, 1), ("ffmpeg", "adpcm_ms", 22050, 1), ("ffmpeg", "adpcm_ima_wav", 44100, 2),
    ("ffmpeg", "pcm_s16le", 48000, 3), ("ffmpeg", "pcm_s24le", 48000, 4), ("ffmpeg", "pcm_s32le", 48000, 5),
    ("ffmpeg", "pcm_f32le", 48000, 6), ("ffmpeg", "pcm_f64le", 48000, 7), ("ffmpeg", "pcm_s16le", 192000, 8),
    ("ffmpeg", "pcm_alaw", 48000, 6), ("ffmpeg", "pcm_s16le -f w64", 44100, 2), ("ffmpeg", "pcm_f32le -f w64", 48000, 6),
    ("ffmpeg", "adpcm_ms -f w64", 44100, 2), ("ffmpeg", "pcm_s24le -rf64 always", 96000, 2),
    ("ffmpeg", "pcm_s32le -rf64 always", 48000, 6), ("ffmpeg", "pcm_mulaw -rf64 always", 8000, 1),
    ("sndfile", "-pcm24 wav", 48000, 2), ("sndfile", "-float64 wav", 44100, 1), ("sndfile", "-ima-adpcm wav", 44100, 2),
    ("sndfile", "-alaw wavex", 8000, 1), ("sndfile", "-pcm24 wavex", 48000, 4), ("sndfile", "-float32 w64", 44100, 2),
    ("sndfile", "-pcm16 rf64", 32000, 2), ("sndfile", "-float32 rf64", 48000, 8),
    ("python", 8, 12000, 1), ("python", 24, 24000, 2), ("python", 32, 64000, 1),
    # By hand: the code, the container's bits, the valid ones (0: not extensible), the mask, and what is special.
    ("hand", (PCM, 24, 20, 0x3, ""), 48000, 2), ("hand", (MU_LAW, 8, 8, 0x3F, ""), 8000, 6),
    ("hand", (A_LAW, 8, 8, 0x4, ODD), 8000, 1), ("hand", (PCM, 24, 24, 0x60F, ODD), 48000, 6),
    ("hand", (FLOAT, 64, 64, 0x737, LATE), 48000, 8), ("hand", (PCM, 32, 32, 0, ODD), 44100, 3),
    ("hand", (FLOAT, 32, 0, 0, NO_EXTRA), 44100, 2), ("hand", (PCM, 20, 0, 0, ODD), 48000, 1),
]
# The writer, its format, and what the refusal calls it. cmm-convert reads none of these.
REFUSED = [
    ("sox", "-e gsm-full-rate", "GSM 6.10"), ("ffmpeg", "g722", "G.722 ADPCM"), ("ffmpeg", "g726", "G.726 ADPCM"),
    ("ffmpeg", "libmp3lame", "MP3"), ("ffmpeg", "g723_1", "G.723.1"), ("ffmpeg", "wmav2", "WMA 2"),
    ("ffmpeg", "adpcm_yamaha", "Yamaha ADPCM"),
]
CONTAINERS = {"aiff": "AIFF", "au": "AU", "caf": "CAF", "flac": "FLAC", "ogg": "Ogg", "mp3": "MP3",
              "m4a": "MP4/M4A", "avi": "AVI", "mka": "Matroska", "wma": "WMA", "voc": "VOC"}
LAYOUTS = ["mono", "stereo", "2.1", "quad", "5.0", "5.1", "6.1", "7.1"]


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True, **options).stdout


def sound(channels):
    """Different tones, as numbers up to 1."""
    return [0.9 * math.sin((0.013 + 0.021 * channel) * i) * math.cos(0.0007 * i + channel)
            for i in range(FRAMES) for channel in range(channels)]


def chunk(name, content):
    return name + struct.pack("<I", len(content)) + content + bytes(len(content) % 2)


def write_by_hand(file, numbers, form, rate, channels):
    code, bits, valid, mask, special = form
    size = (bits + 7) // 8
    if code == FLOAT:
        data = struct.pack(f"<{len(numbers)}{'f' if bits == 32 else 'd'}", *(1.2 * number for number in numbers))
    elif code == PCM:
        step = 1 << (8 * size - (valid or bits))  # bits that are not valid are zero
        full = 1 << (8 * size - 1)
        data = b"".join((int(number * full) // step * step).to_bytes(size, "little", signed=True) for number in numbers)
    else:
        data = bytes(i % 251 for i in range(len(numbers)))
    block = size * channels
    head = struct.pack("<HHIIHH", 0xFFFE if valid else code, channels, rate, rate * block, block, bits)
    if valid:
        head += struct.pack("<HHIH", 22, valid, mask, code) + bytes.fromhex("000000001000800000aa00389b71")
    elif special != NO_EXTRA and code != PCM:
        head += bytes(2)
    chunks = [chunk(b"fmt ", head), chunk(b"data", data)]
    if special == LATE:
        chunks.reverse()
    if special == ODD:
        chunks = [chunk(b"JUNK", bytes(27)), chunk(b"bext", bytes(602)), chunks[0], chunk(b"LIST", b"INFOISFT" + bytes(9)),
                  chunks[1], chunk(b"id3 ", b"ID3\4" + bytes(9))]
    file.write_bytes(chunk(b"RIFF", b"WAVE" + b"".join(chunks)))


def make(folder, writer, form, rate, channels):
    numbers = sound(channels)
    raw = folder / "sound.raw"
    raw.write_bytes(array.array("d", numbers).tobytes())
    file = folder / "file.wav"
    if writer == "sox":
        run("sox", "-D", "-t", "raw", "-e", "float", "-b", 64, "-r", rate, "-c", channels, raw, *form.split(), file)
    elif writer == "ffmpeg":
        run("ffmpeg", "-y", "-f", "f64le", "-ar", rate, "-ac", channels, "-channel_layout", LAYOUTS[channels - 1], "-i", raw,
            "-strict", -2, "-c:a", *form.split(), file)
    elif writer == "sndfile":
        encoding, ending = form.split()
        write_by_hand(folder / "whole.wav", numbers, (FLOAT, 64, 0, 0, ""), rate, channels)
        file = folder / ("file." + ending)
        run("sndfile-convert", encoding, folder / "whole.wav", file)
    elif writer == "python":
        with wave.open(str(file), "wb") as out:
            out.setparams((channels, form // 8, rate, 0, "NONE", ""))
            shift = 128 if form == 8 else 0
            out.writeframes(b"".join(int(number * (1 << form - 1) + shift).to_bytes(form // 8, "little", signed=form > 8)
                                     for number in numbers))
    else:
        write_by_hand(file, numbers, form, rate, channels)
    return file


def sides(bit):
    """The parts of a place of the mask in the left and the right channel: ITU-R BS.775."""
    half = math.sqrt(0.5)
    return {0: (1, 0), 1: (0, 1), 2: (half, half), 4: (half, 0), 5: (0, half), 6: (1, 0), 7: (0, 1), 8: (0.5, 0.5),
            9: (half, 0), 10: (0, half)}.get(bit, (0, 0))


def mask_of(file, channels):
    text = file.read_bytes()
    at = text.index(b"fmt ") + (24 if text[:4] == b"riff" else 8)
    mask = struct.unpack_from("<I", text, at + 20)[0] if text[at:at + 2] == b"\xfe\xff" else 0
    return mask or {3: 0x7, 4: 0x33, 5: 0x37, 6: 0x3F, 7: 0x70F, 8: 0x63F}[channels]


def expected(row, file):
    """Another reader's samples of 16 bits; of more than two channels its numbers, mixed here. SoX and FFmpeg decode
    ADPCM differently: cmm-convert agrees with FFmpeg on that of Microsoft and with SoX on IMA's."""
    writer, form, _, channels = row
    is_sox = writer in ("sox", "python", "sndfile") and file.read_bytes()[:4] == b"RIFF" and form != "-e ms-adpcm"
    if channels <= 2 and (is_sox or form == "adpcm_ima_wav"):
        return array.array("h", run("sox", "-D", file, "-t", "raw", "-e", "signed", "-b", 16, "-"))
    if channels <= 2:
        return array.array("h", run("ffmpeg", "-i", file, "-f", "s16le", "-"))
    numbers = array.array("d", run("ffmpeg", "-i", file, "-f", "f64le", "-"))
    parts = [sides(bit) for bit in range(32) if mask_of(file, channels) >> bit & 1]
    most = max(sum(part[0] for part in parts), sum(part[1] for part in parts))
    return [max(-32768, min(32767, 32768 / most * sum(numbers[i + k] * parts[k][side] for k in range(channels))))
            for i in range(0, len(numbers), channels) for side in (0, 1)]


def convert(program, file):
    made = file.parent / "made.wav"
    made.unlink(missing_ok=True)
    outcome = subprocess.run([program, file, made], capture_output=True, text=True)
    if outcome.returncode != 0:
        return outcome, None
    with wave.open(str(made)) as result:
        return outcome, array.array("h", result.readframes(result.getnframes())) if result.getsampwidth() == 2 else \
            [(byte - 128) * 256 for byte in result.readframes(result.getnframes())]


def check_converted(program, folder, row):
    writer, form, rate, channels = row
    file = make(folder, writer, form, rate, channels)
    outcome, got = convert(program, file)
    if got is None:
        return outcome.stderr
    if file.read_bytes()[:4] == b"RIFF" and writer != "hand":  # a good file: the checker agrees with its writer
        check = [pathlib.Path(program).with_name("cmm-info"), "--check", file]
        found = subprocess.run(check, capture_output=True, text=True)
        if found.returncode != 0:
            return found.stdout
    wanted = expected(row, file)
    most = max((abs(a - b) for a, b in zip(got, wanted)), default=99)
    if len(got) < len(wanted) or len(got) > len(wanted) + 2 * 2048 or len(wanted) < FRAMES * min(channels, 2):
        return f"{len(got)} samples instead of {len(wanted)}"
    return f"differs by {most}" if most > 1 else None


def check_refused(program, file, name):
    outcome, _ = convert(program, file)
    text = outcome.stderr
    is_told = outcome.returncode == 1 and name in text and f'ffmpeg -i "{file}"' in text and text.count("\n") == 1
    left = [path.name for path in file.parent.iterdir() if path.suffix == ".part" or path.stem == "made"]
    return None if is_told and not left else f"{outcome.returncode}: {text} {left}"


def check_containers(program, folder):
    file = make(folder, "sox", "-b 16", 44100, 2)
    for ending, told in CONTAINERS.items():
        other = folder / ("other." + ending)
        run("ffmpeg", "-i", file, "-strict", -2, other)
        yield ending, check_refused(program, other, told + ", not WAV")
        other.unlink()


def check_harmonize(program, folder):
    for writer, form, channels in ("ffmpeg", "pcm_s24le -f w64", 6), ("hand", (FLOAT, 32, 32, 0, ODD), 8):
        made = folder / f"{writer}.wav"
        run(program, make(folder, writer, form, 48000, channels), made)
        yield form, None if made.stat().st_size > FRAMES else "too short"


def check_all(convert_program, harmonize_program, root):
    rows = CONVERTED + REFUSED + [check_containers, check_harmonize]
    for number, row in enumerate(rows):
        folder = root / str(number)
        folder.mkdir()
        try:
            if row == check_containers:
                yield from row(convert_program, folder)
            elif row == check_harmonize:
                yield from row(harmonize_program, folder)
            elif len(row) == 4:
                yield row, check_converted(convert_program, folder, row)
            else:
                yield row, check_refused(convert_program, make(folder, *row[:2], 8000, 1), row[2])
        except subprocess.CalledProcessError as error:
            yield row, f"{error.cmd}: {error.stderr.decode()}"


def main():
    with tempfile.TemporaryDirectory() as root:
        outcomes = list(check_all(*sys.argv[1:], pathlib.Path(root)))
    faults = [f"{row}: {fault}" for row, fault in outcomes if fault]
    print("\n".join([f"{len(outcomes)} files, {len(faults)} faults"] + faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
