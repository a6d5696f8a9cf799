# Sourced by ./run and ./test: the Debian packages that this project needs, and what installs those
# that are missing. Nothing is asked and nothing is done when everything is there.
# shellcheck shell=bash disable=SC2034 # the lists are used where this is sourced

build_packages=(
  g++ cmake ninja-build pkg-config
  libzstd-dev liblz4-dev libjpeg-dev libisal-dev nettle-dev libpixman-1-dev libcli11-dev nlohmann-json3-dev
  libpng-dev libfreetype-dev
  tcl-dev tk-dev libx11-dev libxext-dev
  libxcb1-dev libxcb-composite0-dev libxcb-damage0-dev libxcb-shm0-dev libxcb-xfixes0-dev
  libxcb-xinput-dev
)
run_packages=(
  tcl tk tcllib # its json
  fonts-dejavu-core x11-xserver-utils # letters, also on pictures, and the resolution that a desktop asks for
  xvfb x11-utils imagemagick # a display and a screenshot where there is none
)
python_packages=(python3-dev pybind11-dev python3-numpy) # without them there is no Python module
test_packages=(
  libgtest-dev libxres-dev
  "${python_packages[@]}"
  python3 python3-zstandard # the second reader of recordings
  clang libclang-rt-14-dev # libFuzzer
  libxcb-xtest0-dev xvfb tigervnc-standalone-server xauth
  ffmpeg # films
  xdotool xterm x11-apps x11-utils x11-xserver-utils mpv # what is recorded
  valgrind libc6-dbg # which valgrind needs to know the C library's functions
)
tidy_packages=(clang-tidy)
bench_packages=(python3 ffmpeg chromium libwebp-dev) # and a browser whose pages are scrolled

say() {
  printf '\n== %s\n' "$*"
}

fail() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# Prints those of the given packages that are not installed.
missing_packages() {
  local installed package
  # dpkg-query fails when it does not know a package, which is an answer here.
  installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true)
  for package in "$@"; do
    grep -qxF "installed $package" <<<"$installed" || echo "$package"
  done
}

# Runs apt-get as root. Another apt may hold one of the locks, of which apt waits for one only.
apt_get() {
  local as_root=() log try
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || fail "run this as root, or install sudo: packages are missing"
    as_root=(sudo)
    [ -t 0 ] || as_root+=(-n)
  fi
  log=$(mktemp)
  for try in {1..60}; do
    if "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 apt-get -y \
      -o DPkg::Lock::Timeout=600 -o Acquire::Retries=3 -o Dpkg::Use-Pty=0 \
      "$@" </dev/null 2>&1 | tee "$log"; then
      rm -f "$log"
      return 0 # in a trap, without the number it would be the status before the trap
    fi
    grep -qE 'Could not get lock|Unable to lock' "$log" || break
    echo "apt is busy; trying again in 5 seconds ($try of 60)"
    sleep 5
  done
  rm -f "$log"
  fail "apt-get $* failed"
}

# Installs those of the given packages that are missing.
install_packages() {
  local missing
  mapfile -t missing < <(missing_packages "$@" | sort -u)
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing ${missing[*]}"
  apt_get -q update
  apt_get -q install --no-install-recommends "${missing[@]}"
}
