#!/bin/sh
# Installs what building, benchmarking or checking needs and this machine does not have.
#
#   install-dependencies.sh GROUP...      groups: build, python, pytest, wheel, package, bench, check, fuzz, clusters, editor
#
# Only what is missing is installed, and package lists are only refreshed when something is. Installing
# takes root and apt; without them the script says what to install and fails.
set -eu

# group, Debian package, and what shows that it is there: a command, a header that the compiler
# finds, a module that pkg-config or Python knows, a module (debian) or a header (pyheader) of the interpreter that the
# Python package is built for, or a runtime library of clang.
packages='
build  g++                  command  c++
build  cmake                command  cmake
build  ninja-build          command  ninja
build  libcli11-dev         header   CLI/CLI.hpp
build  libfmt-dev           header   fmt/format.h
build  nlohmann-json3-dev   header   nlohmann/json.hpp
build  libgtest-dev         header   gtest/gtest.h
build  libimath-dev         header   Imath/ImathEuler.h
build  pkg-config           command  pkg-config
build  librsvg2-dev         module   librsvg-2.0
build  zlib1g-dev           header   zlib.h
build  libcpp-httplib-dev   header   httplib.h
build  python3-jsonschema   python   jsonschema
python python3-dev          pyheader Python.h
python pybind11-dev         header   pybind11/pybind11.h
python python3-pybind11     debian   pybind11
python python3-numpy        debian   numpy
pytest python3-pytest       debian   pytest
pytest python3-hypothesis   debian   hypothesis
pytest python3-mypy         debian   mypy
wheel  python3-setuptools   debian   setuptools
wheel  python3-wheel        debian   wheel
wheel  python3-pip          debian   pip
wheel  python3-venv         debian   ensurepip
pytest python3-matplotlib   debian   matplotlib
pytest jupyter-nbconvert    debian   nbconvert
pytest python3-nbformat     debian   nbformat
pytest python3-ipykernel    debian   ipykernel
package dpkg-dev            command  dpkg-shlibdeps
package file                command  file
bench  libbenchmark-dev     header   benchmark/benchmark.h
bench  libgsl-dev           header   gsl/gsl_spline.h
bench  libboost-math-dev    header   boost/math/interpolators/cubic_hermite.hpp
check  clang                command  clang++
check  clang-format         command  clang-format
check  clang-tidy           command  clang-tidy
fuzz   clang                command  clang++
fuzz   libclang-rt-dev      runtime  fuzzer
editor emscripten           command  em++
editor nodejs               command  node
editor npm                  command  npm
editor chromium             command  chromium
clusters slurm-wlm          command  slurmctld
clusters munge              command  munged
clusters python3-distributed debian  distributed
'

# The one that the Python package is built for; what is missing to find one is installed for Debian's.
interpreter()
{
    "${0%/*}/find-python.sh" 2>/dev/null || echo /usr/bin/python3
}

is_present()
{
    case $1 in
        command) command -v "$2" >/dev/null 2>&1 ;;
        module) pkg-config --exists "$2" 2>/dev/null ;;
        runtime) [ -e "$(clang++ --print-file-name="libclang_rt.$2-$(uname -m).a" 2>/dev/null)" ] ;;
        pyheader) [ -e "$("$(interpreter)" -c 'import sysconfig; print(sysconfig.get_path("include"))')/$2" ] ;;
        debian) "$(interpreter)" -c "import $2" >/dev/null 2>&1 ;;
        python) python3 -c "import $2" >/dev/null 2>&1 ;;
        header) printf '#if !__has_include(<%s>)\n#error\n#endif\n' "$2" | c++ -E -x c++ - >/dev/null 2>&1 ;;
    esac
}

wanted=" $* "
missing=$(printf '%s' "$packages" | while read -r group package kind probe; do
    case $wanted in *" $group "*) ;; *) continue ;; esac
    is_present "$kind" "$probe" || printf ' %s' "$package"
done)
[ -n "$missing" ] || exit 0

if ! command -v apt-get >/dev/null 2>&1; then
    echo "Missing, by their Debian names:$missing" >&2
    echo "Install what your system calls them, then run make again." >&2
    exit 1
fi
if [ "$(id -u)" -ne 0 ]; then
    echo "Missing:$missing" >&2
    echo "Install them, then run make again:" >&2
    echo "    sudo apt-get install$missing" >&2
    exit 1
fi
echo "Installing:$missing"
apt-get update -qq </dev/null
# shellcheck disable=SC2086  # one word per package
DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends $missing </dev/null
