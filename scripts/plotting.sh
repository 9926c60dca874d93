# shellcheck shell=bash
# What scripts/plot-pitch and scripts/plot-wave share. Sourced by them.

fail() {
  echo "scripts/$(basename "$0"): $*" >&2
  exit 1
}

# check_files SOURCE PICTURE: ends the script where one cannot be read, or the other not be written.
check_files() {
  [ -e "$1" ] || fail "there is no file $1"
  [ -f "$1" ] || fail "$1 is no file"
  [ -r "$1" ] || fail "$1 cannot be read"
  [ -d "$(dirname "$2")" ] || fail "there is no folder $(dirname "$2")"
  [ ! -d "$2" ] || fail "$2 is a folder"
  [ ! "$1" -ef "$2" ] || fail "the picture cannot take the place of $1"
  [ -w "$2" ] || { [ ! -e "$2" ] && [ -w "$(dirname "$2")" ]; } || fail "$2 cannot be written"
}

# need PACKAGE COMMAND...: installs the package when the command fails, and ends the script when it still does.
need() {
  "${@:2}" >/dev/null 2>&1 || { install_missing "$1" && "${@:2}" >/dev/null 2>&1; } ||
    fail "the package $1 is missing, and could not be installed"
}

# draw WIDTH HEIGHT PICTURE TITLE: runs the gnuplot commands of its standard input, in the common style.
draw() {
  need gnuplot-nox command -v gnuplot
  size=$1,$2 title=$4 part=$(mktemp)
  export title part
  if {
    cat <<PLOT
set terminal pngcairo size $size font "sans,11" background "white"
set output system('printf %s "\$part"')
set title system('printf %s "\$title"') noenhanced
set datafile separator ","
set key off
set grid lc rgb "#dddddd" lt 1
set border lc rgb "#888888"
set lmargin at screen 0.08
set rmargin at screen 0.97
PLOT
    cat
  } | gnuplot; then
    cat "$part" >"$3"
    rm "$part"
  else
    rm "$part"
    fail "gnuplot could not draw $3"
  fi
}

source "$(dirname "${BASH_SOURCE[0]}")/packages.sh"
