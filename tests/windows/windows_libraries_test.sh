#!/usr/bin/env bash
# Of apt's sources scripts/windows-libraries takes those of Debian's own, whole with their options, and no others.
# Everything is local: apt is given sources, lists and caches of this test's own.
# Usage: windows_libraries_test.sh SCRIPT
set -euo pipefail
script=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"

fail() {
  cat "$work/log" >&2
  echo "windows_libraries_test: $*" >&2
  exit 1
}

# A repository with a source package named protobuf, of a version that the script refuses: it is refused only after
# the source was got.
mkdir -p "$work"/{lists/partial,cache/archives/partial,parts,package/debian,cache-of-ovix}
cd "$work/package"
printf 'protobuf (0.1) stable; urgency=low\n\n  * Test.\n\n -- Ovix <telemetry@ovix.example>  Sat, 21 Nov 2026 00:00:00 +0000\n' >debian/changelog
printf 'Source: protobuf\nMaintainer: Ovix <telemetry@ovix.example>\n\nPackage: protobuf\nArchitecture: all\nDescription: none\n' >debian/control
mkdir debian/source && echo '3.0 (native)' >debian/source/format
cd "$work"
repository() { # FOLDER ORIGIN
  mkdir -p "$1/dists/stable/main"/{source,binary-amd64}
  (cd "$1" && dpkg-source -b ../package >/dev/null 2>&1)
  printf 'Package: any\nVersion: 1\nArchitecture: amd64\nMaintainer: Ovix\nFilename: any.deb\nSize: 1\n' \
    >"$1/dists/stable/main/binary-amd64/Packages"
  {
    sed -e 's/^Source:/Package:/' -e '/^Files:/,$d' -e '/^Checksums/,$d' "$1"/*.dsc
    echo "Directory: ."
    echo "Files:"
    (cd "$1" && for file in *.dsc *.tar.*; do echo " $(md5sum <"$file" | cut -d' ' -f1) $(stat -c %s "$file") $file"; done)
    echo "Checksums-Sha256:"
    (cd "$1" && for file in *.dsc *.tar.*; do echo " $(sha256sum <"$file" | cut -d' ' -f1) $(stat -c %s "$file") $file"; done)
  } >"$1/dists/stable/main/source/Sources"
  {
    printf 'Origin: %s\nSuite: stable\nCodename: stable\nArchitectures: amd64\nComponents: main\n' "$2"
    printf 'Date: %s\nSHA256:\n' "$(date -Ru)"
    (cd "$1/dists/stable" && for file in main/binary-amd64/Packages main/source/Sources; do
      echo " $(sha256sum <"$file" | cut -d' ' -f1) $(stat -c %s "$file") $file"
    done)
  } >"$1/dists/stable/Release"
}
repository debian Debian
repository vendor Vendor
entry() { printf 'Types: deb\nURIs: file:%s\nSuites: stable\nComponents: main\nArchitectures: amd64\nTrusted: yes\n\n' "$1"; }
cat >"$work/apt.conf" <<END
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$work/parts";
Dir::State::lists "$work/lists";
Dir::Cache "$work/cache";
APT::Sandbox::User "$(id -un)";
APT::Architecture "amd64";
END
export APT_CONFIG=$work/apt.conf

# Runs the script and looks at how it ended: MESSAGE is of a run that got as far as it should.
run() { # WHAT MESSAGE
  if OVIX_CACHE="$work/cache-of-ovix" "$script" >"$work/log" 2>&1; then fail "$1: built from an unknown protobuf"; fi
  grep -qF -- "$2" "$work/log" || fail "$1: did not say '$2'"
  echo "$1: as it should be"
}

# What the other script takes: entries for any architecture.
of_any_architecture() { # WHAT OPTIONS: those that are left of an entry
  rm -rf "$work/deb"
  # shellcheck source=scripts/debian-sources
  (. "$(dirname "$script")/debian-sources" && debian_sources "$work/deb" deb) >"$work/log" 2>&1 || fail "$1: no entry for packages"
  cat "$work"/deb/* >"$work/log"
  grep -qF "$work/debian" "$work/log" && grep -qiF "$2" "$work/log" && ! grep -qE "$work/vendor|amd64" "$work/log" || fail "$1: another entry for packages"
}

run "no source" "windows-libraries: apt knows no source of Debian's own (Origin: Debian); run apt-get update"
# Two entries in each file, of which the second is Debian's; once in each of apt's two formats.
{ echo "# a comment"; entry "$work/vendor"; entry "$work/debian"; } >"$work/parts/both.sources"
apt-get -qq update
mv "$work/vendor" "$work/away"
run "entries in stanzas" "Debian's protobuf is not 3.21.12"
of_any_architecture "entries in stanzas" "Types: deb"
mv "$work/away" "$work/vendor"
rm -rf "$work"/parts/* "$work"/lists/*
printf '# a comment\ndeb [trusted=yes arch=amd64] file:%s stable main\ndeb [trusted=yes arch=amd64] file:%s stable main\n' \
  "$work/vendor" "$work/debian" >"$work/parts/both.list"
apt-get -qq update
mv "$work/vendor" "$work/away"
run "entries in lines" "Debian's protobuf is not 3.21.12"
of_any_architecture "entries in lines" "deb [trusted=yes ] file:"
echo "windows_libraries_test: passed"
