# awk -f scripts/includes.awk FILE...: who includes whom. Tells each include that the rules below do not allow, and
# each circle; the status is 1 then. With -v picture=1 it writes the folders' includes as a graph for dot instead.

# What a folder may include beside itself. For programs and tests see Allowed.
BEGIN {
  posix = "platform/posix"
  may["platform"] = posix
  may["platform/pcm"] = "platform"
  may["resample"] = "platform"
  may["platform/windows"] = "platform platform/pcm"
  may["wavfile"] = "platform platform/pcm resample"
  may["capture"] = "platform wavfile"
  may["harmony"] = "platform"
  may["units"] = "platform"
  may[posix] = ""
  may[posix "/core"] = posix
  may[posix "/text"] = posix " " posix "/core"
  may[posix "/file"] = posix " " posix "/core " posix "/text"
  may[posix "/acm"] = posix " " posix "/core platform/pcm"
  may[posix "/capture"] = posix " " posix "/core"
  may[posix "/playback"] = posix " " posix "/core " posix "/file " posix "/acm"
  may[posix "/alsa"] = posix " " posix "/core " posix "/capture " posix "/playback"
  # These two are below everything: they include nothing of the system's, or only its names.
  ground["platform/export.h"] = ground["platform/capture_losses.h"] = 1
  while ((getline line < "cmake/install.cmake") > 0)
    for (count = split(line, words, /[ ()]+/); count > 0; count--)
      if (words[count] ~ /\.h$/) installed[words[count]] = 1
}

function Folder(file) {
  sub(/\/?[^\/]*$/, "", file)
  return file
}

function Allowed(from, to, target) {
  if (from == to || target in ground) return 1
  if (from in may) return index(" " may[from] " ", " " to " ") > 0
  # Programs see what is installed, and what is their own; tests and benchmarks see everything.
  if (from ~ /^(tools|examples)/) return to ~ /^tools/ || target in installed
  return 1
}

/^#include "/ {
  split($0, quoted, "\"")
  target = quoted[2]
  if (target !~ /\//) target = Folder(FILENAME) "/" target
  from = Folder(FILENAME)
  to = Folder(target)
  if (!Allowed(from, to, target)) {
    print FILENAME ":" FNR ": " from "/ must not include " target > "/dev/stderr"
    bad = 1
  }
  if (from in may && to in may && from != to && !(target in ground)) arrows[from " " to]++
  files[FILENAME] = 1
  if (!((FILENAME, target) in seen)) includes[FILENAME] = includes[FILENAME] " " target
  seen[FILENAME, target] = 1
}

# Follows the includes of a file; a file that is met on its own way is part of a circle.
function Follow(file, way,    list, count, i) {
  if (done[file]) return
  if (index(way " ", " " file " ")) {
    print "a circle:" substr(way, index(way " ", " " file " ")) " " file > "/dev/stderr"
    bad = 1
    return
  }
  count = split(includes[file], list, " ")
  for (i = 1; i <= count; i++) Follow(list[i], way " " file)
  done[file] = 1
}

END {
  for (file in files) Follow(file, "")
  if (picture) {
    print "digraph { node [shape=box, fontname=\"sans-serif\"]"
    for (arrow in arrows) {
      split(arrow, ends, " ")
      printf "\"%s\" -> \"%s\" [label=%d]\n", ends[1], ends[2], arrows[arrow]
    }
    print "}"
  }
  exit bad
}
