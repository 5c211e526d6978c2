#!/usr/bin/env bash
# Runs as root in a bare system: installs the Debian packages with apt and nothing but what they ask for, upgrades them from an earlier
# version, removes and purges them, looks for what they leave, and builds consumers.
# Usage: install_test.sh FOLDER    FOLDER has the packages, and consumer/ in it a program that uses the library
set -euo pipefail
cd "$1"
work=$(mktemp -d)
fail() {
  echo "install_test: $*" >&2
  exit 1
}
quietly() {
  "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "'$*' failed"; }
}
export DEBIAN_FRONTEND=noninteractive
apt=(apt-get -q -y --no-install-recommends)
# All that packages may put somewhere, as it is named where /bin and /lib are links into /usr.
files() { find / -xdev \( -path "$PWD" -o -path /tmp -o -path /var/cache -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune -o -print | sort; }
owned() { sed -E 's#^/(bin|sbin|lib|lib64)/#/usr/\1/#' /var/lib/dpkg/info/*.list | sort -u; }

# A repository of the packages, so that apt gets what they depend on.
for package in ./*.deb; do
  dpkg-deb --field "$package" | grep .  # without an empty line, which would end the entry
  printf 'Filename: %s\nSize: %s\nSHA256: %s\n\n' "$package" "$(stat -c %s "$package")" "$(sha256sum <"$package" | cut -d' ' -f1)"
done >Packages
echo "deb [trusted=yes] file:$PWD ./" >/etc/apt/sources.list.d/ovix.list
quietly "${apt[@]}" update
quietly "${apt[@]}" upgrade
files >"$work/before"
names=()
for package in ./*.deb; do
  names+=("$(dpkg-deb --field "$package" Package)")
done

# The same packages with an earlier version: the release before, as long as there is none of another content.
mkdir "$work/earlier"
for package in ./*.deb; do
  version=$(dpkg-deb --field "$package" Version)
  dpkg-deb -R "$package" "$work/tree"
  sed -i "s/^Version: .*/&~earlier/; s/(\(>\?\)= $version)/(\1= $version~earlier)/g" "$work/tree/DEBIAN/control"
  quietly dpkg-deb -Znone -b "$work/tree" "$work/earlier"
  rm -r "$work/tree"
done

# The tool alone, then everything.
quietly "${apt[@]}" install ovix-contracts
ovix-contracts show BatteryHealthLog >/dev/null || fail "the tool does not run with what it asks for"
quietly dpkg --purge "${names[@]}"
quietly "${apt[@]}" install "$work"/earlier/*.deb
ovix-contracts show BatteryHealthLog >/dev/null || fail "the earlier tool does not run"
quietly "${apt[@]}" upgrade
for name in "${names[@]}"; do
  actual=$(dpkg-query -W -f '${Status} ${Version}' "$name")
  [ "$actual" = "install ok installed $version" ] || fail "after the upgrade $name is '$actual'"
  changed=$(dpkg --verify "$name")
  [ -z "$changed" ] || fail "what is installed is not what $name has: $changed"
done
ovix-contracts show BatteryHealthLog >/dev/null || fail "the tool does not run after the upgrade"
for file in man/man1/ovix-contracts.1.gz bash-completion/completions/ovix-contracts \
  zsh/vendor-completions/_ovix-contracts fish/vendor_completions.d/ovix-contracts.fish; do
  [ -s "/usr/share/$file" ] || fail "the tool's package has no /usr/share/$file"
done
compgen -G '/usr/share/doc/*/catalogue/index.html' >/dev/null || fail "the development package has no catalogue"

# What they leave: neither there before, nor of a package that they asked for.
left() { comm -23 <(files) <(sort -u "$work/before" <(owned)) | head -n 5 | xargs; }
quietly "${apt[@]}" remove "${names[@]}"
[ -z "$(left)" ] || fail "removing the packages left $(left)"
quietly dpkg --purge "${names[@]}"
known=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${names[@]}" 2>/dev/null | grep -v ^not-installed || true)
[ -z "$known" ] || fail "after the purge dpkg still knows $known"
[ -z "$(left)" ] || fail "purging the packages left $(left)"

# Those who build against it need a compiler, and of libraries only what the packages ask for.
quietly "${apt[@]}" install ./*.deb cmake g++ make pkg-config
quietly cmake -S consumer -B "$work/consumer"
quietly cmake --build "$work/consumer"
# shellcheck disable=SC2046 # the flags are words
quietly g++ -std=c++17 consumer/consumer.cc -o "$work/by_pkg_config" $(pkg-config --cflags --libs ovix-telemetry-data-contracts)
for consumer in consumer/consumer by_pkg_config; do
  quietly "$work/$consumer"
done
quietly dpkg --purge "${names[@]}"
! "$work/consumer/consumer" >/dev/null 2>&1 || fail "the consumer runs without the packages: it was not theirs that it used"
rm -r "$work"
echo "install_test: $(. /etc/os-release && echo "$PRETTY_NAME"): installed, upgraded, removed and purged; consumers built with $(g++ -dumpfullversion) and CMake $(cmake --version | head -n 1 | cut -d' ' -f3)"
