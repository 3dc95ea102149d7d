#!/usr/bin/env bash
# Installs both word sizes into empty folders, moves them, builds and runs a program against each by pkg-config and by
# CMake, shared and static, and checks what was installed; then the same of the Debian packages. As root on a 64-bit
# Debian system it also installs those, unless some are there, and removes them again.
# LUM_BUILDS names the folder of the builds, build if unset; what is not built there yet, is.
# shellcheck disable=SC2317 # the functions are called, through stage
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/stages.sh

builds=${LUM_BUILDS:-build}
version=5.2
work=$(mktemp -d)
program=tests/install_program.c
packages_in=
failed=0

clean_up() {
  if [ -n "$packages_in" ]; then dpkg --purge lumcv liblumcv >/dev/null 2>&1 || true; fi
  rm -rf "$work"
}
trap clean_up EXIT

step() { stage "$@" || failed=1; }

# installed_files WORD_SIZE: what belongs below the prefix, the tool's program left out
installed_files() {
  local lib=lib/$1-linux-gnu
  git ls-files -co --exclude-standard 'include/*.h' | sed 's|^include/|include/lumcv/|'
  git ls-files -co --exclude-standard CHANGELOG.md LICENSE 'docs/*.md' 'docs/*.svg' 'docs/*.png' |
    sed 's|^\(docs/\)\?|share/doc/lumcv/|'
  printf '%s\n' "$lib"/liblum{cvt7,core}.{a,so,so."$version"} "$lib/pkgconfig/lumcv.pc" \
    "$lib"/cmake/lumcv/lumcvConfig{,Version,-release}.cmake
}

# same_list FOUND EXPECTED: two files with a list each
same_list() {
  diff <(LC_ALL=C sort "$1") <(LC_ALL=C sort "$2") && return
  echo "left: what is there; right: what should be"
  return 1
}

# files_of WORD_SIZE: what is there below the prefix
files_of() { (cd "$work/$1" && find . ! -type d | sed 's|^\./||' | LC_ALL=C sort); }

# ---- one word size; installed into $work/WORD_SIZE ----

# Where an older configuration of the same folder would have installed to does not count.
build() {
  cmake --preset "$1" -B "$builds/$1" -U 'CMAKE_INSTALL_*' -DLUM_TOOLS=ON &&
    cmake --build "$builds/$1" --target lumcv_tool lumcv lumcv_static lumcore_static
}

install_moved() {
  cmake --install "$builds/$1" --prefix "$work/first/$1" && mv "$work/first/$1" "$work/$1"
}

check_files() {
  files_of "$1" >"$work/found"
  { installed_files "$1" && echo bin/lumcv; } >"$work/expected"
  same_list "$work/found" "$work/expected" && check_no_paths "$1" &&
    scripts/check_links.sh "$work/$1"/share/doc/lumcv/*.md
}

# Nothing that is read after the installation may name the folders that it came from.
check_no_paths() { ! grep -rlF -e "$work/first" -e "$PWD" "$work/$1/lib" "$work/$1/bin" "$work/$1/include"; }

check_archives() {
  local name
  for name in liblumcvt7 liblumcore; do
    nm -g --defined-only "$work/$1/lib/$1-linux-gnu/$name.a" | awk 'NF == 3 { print $3 }' >"$work/found" &&
      same_list "$work/found" "abi/$name.exports" || return 1
  done
}

# check_program WORD_SIZE PROGRAM shared|static: runs it; its output must be that of all others
check_program() {
  local kind=static
  if readelf -dW "$2" | grep 'NEEDED.*liblum'; then kind=shared; fi
  [ "$kind" = "$3" ] || { echo "$2 is $kind" && return 1; }
  LD_LIBRARY_PATH=$work/$1/lib/$1-linux-gnu "$2" >"$work/output" && cat "$work/output" || return 1
  [ -e "$work/first_output" ] || cp "$work/output" "$work/first_output"
  cmp "$work/output" "$work/first_output"
}

# The linker warns of a call of the OpenMP runtime's that a static program cannot make.
check_pkg_config() {
  local -x PKG_CONFIG_LIBDIR=$work/$1/lib/$1-linux-gnu/pkgconfig
  local flags word=-m64
  [ "$1" = i386 ] && word=-m32
  [ "$(pkg-config --modversion lumcv)" = "$version" ] &&
    flags=$(pkg-config --cflags --libs lumcv) &&
    compile "$word" "$work/shared" "$flags" && check_program "$1" "$work/shared" shared &&
    flags=$(pkg-config --static --cflags --libs lumcv) &&
    compile "$word" "$work/static" "-static $flags" && check_program "$1" "$work/static" static
}

# compile WORD_SIZE_FLAG OUTPUT FLAGS
compile() {
  # shellcheck disable=SC2086 # FLAGS are several words
  gcc "$1" -std=c99 -pedantic -Wall -Wextra -Werror "$program" -o "$2" $3
}

check_cmake() {
  local source=$work/consumer build=$work/consumer-$1 toolchain=()
  [ "$1" = i386 ] && toolchain=("-DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/i386.cmake")
  mkdir -p "$source" && cp "$program" "$source/program.c" && cat >"$source/CMakeLists.txt" <<END &&
cmake_minimum_required(VERSION 3.24)
project(consumer LANGUAGES C)
find_package(lumcv $version REQUIRED)
add_executable(shared program.c)
target_link_libraries(shared PRIVATE lumcv::lumcv)
add_executable(static program.c)
target_link_libraries(static PRIVATE lumcv::lumcv_static)
END
    cmake -G Ninja -S "$source" -B "$build" -DCMAKE_PREFIX_PATH="$work/$1" "${toolchain[@]}" &&
    cmake --build "$build" && check_program "$1" "$build/shared" shared && check_program "$1" "$build/static" static
}

# The tool finds the libraries that were installed with it.
check_tool() {
  ldd "$work/$1/bin/lumcv" | tee "$work/found" && grep -qF "/$1/bin/../lib/$1-linux-gnu/liblumcvt7.so" "$work/found" &&
    "$work/$1/bin/lumcv" edges images "$work/edges-$1" --format pgm
}

# ---- both ----

# Below one prefix the word sizes share files, and only the tool's program differs.
check_side_by_side() {
  local file
  for file in $(comm -12 <(files_of x86_64) <(files_of i386)); do
    [ "$file" = bin/lumcv ] || cmp "$work/x86_64/$file" "$work/i386/$file" || return 1
  done
}

# ---- Debian packages; made in $work/deb ----

architecture_of() { if [ "$1" = i386 ]; then echo i386; else echo amd64; fi; }

# has_field PACKAGE_FILE FIELD VALUE
has_field() {
  local value
  value=$(dpkg-deb -f "$1" "$2")
  [ "$value" = "$3" ] || { echo "${1##*/}: $2 is $value, not $3" && return 1; }
}

# depends_on PACKAGE_FILE PACKAGE...: on these and no others
depends_on() {
  local file=$1
  shift
  dpkg-deb -f "$file" Depends | tr ',' '\n' | awk '{ print $1 }' >"$work/found"
  printf '%s\n' "$@" >"$work/expected"
  same_list "$work/found" "$work/expected"
}

# contains PACKAGE_FILE < LIST
contains() {
  sed 's|^|./usr/|' >"$work/expected"
  dpkg-deb --fsys-tarfile "$1" | tar t | grep -v '/$' >"$work/found"
  same_list "$work/found" "$work/expected"
}

# program_needs WORD_SIZE: the packages that the program's libraries are in. Debian's own tool tells for 64 bits; it
# knows no other word size.
program_needs() {
  if [ "$1" = x86_64 ]; then
    mkdir -p "$work/needs/debian" && touch "$work/needs/debian/control" && (
      cd "$work/needs" && dpkg-shlibdeps -O --warnings=0 --ignore-missing-info -l"$work/x86_64/lib/x86_64-linux-gnu" \
        "$work/x86_64/bin/lumcv" | sed 's/^shlibs:Depends=//' | tr ',' '\n' | awk '{ print $1 }'
    )
  else
    printf '%s\n' libc6 libgcc-s1 libstdc++6
    readelf -dW "$work/$1/bin/lumcv" |
      sed -n 's/.*NEEDED.*\[libpng16.so.*/libpng16-16/p; s/.*NEEDED.*\[libjpeg.so.62.*/libjpeg62-turbo/p'
  fi
}

check_packages() {
  local architecture library tool needs
  architecture=$(architecture_of "$1")
  library=$work/deb/liblumcv_${version}_$architecture.deb tool=$work/deb/lumcv_${version}_$architecture.deb
  mapfile -t needs < <(program_needs "$1")
  cpack --config "$builds/$1/CPackConfig.cmake" -B "$work/deb" &&
    has_field "$library" Package liblumcv && has_field "$tool" Package lumcv &&
    has_field "$library" Version "$version" && has_field "$tool" Version "$version" &&
    has_field "$library" Architecture "$architecture" && has_field "$tool" Architecture "$architecture" &&
    has_field "$library" Multi-Arch same &&
    depends_on "$library" libc6 libgomp1 && depends_on "$tool" liblumcv "${needs[@]}" &&
    installed_files "$1" | contains "$library" && echo bin/lumcv | contains "$tool"
}

# Into a folder that stands for a machine: the libraries of both word sizes, then the program.
unpack_packages() {
  local root=$work/machine
  mkdir -p "$root"/var/lib/dpkg/{info,updates} && touch "$root/var/lib/dpkg/status" &&
    printf '%s\n' amd64 i386 >"$root/var/lib/dpkg/arch" &&
    dpkg --instdir="$root" --admindir="$root/var/lib/dpkg" --log=/dev/null --force-script-chrootless --unpack \
      "$work"/deb/liblumcv_*.deb "$work/deb/lumcv_${version}_amd64.deb" && "$root/usr/bin/lumcv" --version
}

install_packages() {
  packages_in=yes
  dpkg -i "$work/deb/liblumcv_${version}_amd64.deb" "$work/deb/lumcv_${version}_amd64.deb" &&
    lumcv --version && compile -m64 "$work/shared" "$(pkg-config --cflags --libs lumcv)" &&
    "$work/shared" | cmp - "$work/first_output" && dpkg --purge lumcv liblumcv && packages_in= &&
    [ ! -e /usr/bin/lumcv ] && [ ! -e /usr/include/lumcv ]
}

skip() { echo "skipped: $*"; }

for word_size in x86_64 i386; do
  stage "build $word_size" build "$word_size"
  stage "install $word_size" install_moved "$word_size"
  step "files $word_size" check_files "$word_size"
  step "archives $word_size" check_archives "$word_size"
  step "pkg-config $word_size" check_pkg_config "$word_size"
  step "CMake $word_size" check_cmake "$word_size"
  step "tool $word_size" check_tool "$word_size"
done
step "side by side" check_side_by_side
step "same edge maps" diff -r "$work/edges-x86_64" "$work/edges-i386"

if [ "$(dpkg --print-architecture 2>/dev/null)" != amd64 ]; then
  skip "packages: not a 64-bit Debian system"
else
  step "packages x86_64" check_packages x86_64
  step "packages i386" check_packages i386
  if ((EUID != 0)); then
    skip "installing packages: not root"
  elif ((failed)); then
    skip "installing packages after a failure"
  else
    step "unpack packages" unpack_packages
    if dpkg-query -W lumcv liblumcv >/dev/null 2>&1; then
      skip "installing packages: some are installed"
    else
      step "install packages" install_packages
    fi
  fi
fi

if ((failed)); then
  echo "The installation is not as it should be." >&2
else
  echo "Installed files, programs built against them and packages are as they should be."
fi
exit $failed
