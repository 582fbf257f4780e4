#!/bin/bash
# Proves the packages on a machine that has nothing but Debian and git. Run "packaging/test.sh --help".
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/tests/machine.sh"

usage() {
    cat << END
Usage: packaging/test.sh [--tree DIR]

Installs the packages that ./package.sh has put into build/packages on a minimal Debian tree ($release), made in a
temporary directory, with apt-get and nothing else beside them; does the README's tasks, its program and the
demonstration there, puts another platform in the place of the simulated one, and purges everything again. Those for
arm64 are unpacked and run by qemu-user. Takes a few minutes, one gigabyte below \${TMPDIR:-/var/tmp} and root's rights.

  --tree DIR   copy this tree instead of making one; it was made with
               debootstrap --variant=minbase --include=git $release DIR

Exit status: 0 when all is well, 1 when something failed, 2 for bad usage or where it cannot be tried.
END
}

machine_options "$@"
native=$(dpkg --print-architecture)
packages=$root/build/packages/$native
for name in libostdrv1 libostdrv-dev ostdrv-tools ostdrv-sim; do
    compgen -G "$packages/${name}_*.deb" > /dev/null || cannot "$packages has no $name: run ./package.sh first"
done

failed=0
# check WHAT COMMAND...: says whether it succeeded, and what it printed when not
check() {
    if "${@:2}" > "$work/report" 2>&1; then
        echo "ok $1"
    else
        echo "FAILED $1"
        tail -n 40 "$work/report"
        failed=1
    fi
}

apt() { on_machine env DEBIAN_FRONTEND=noninteractive apt-get -q -y "$@"; }

# What lies on the machine, but for what any package leaves: lists, logs, caches, the copies of the lists of groups.
files() {
    (cd "$machine" && find . -xdev -regextype posix-egrep \
        -regex '\./(root|tmp|proc|run|var/(lib/(apt|dpkg)|cache|log)|etc/(ld\.so\.cache|[^/]*-))' \
        -prune -o -print) | sort
}

install() { apt update && on_machine sh -c 'cd /root/packages && apt-get -q -y install ./*.deb'; }

readme_tasks() { on_machine sh /root/source/tests/programs/readme_tasks.sh /root/source /usr/bin; }

readme_program() {
    on_machine env CC=cc SOURCE=/root/source EMULATOR= LIBDIR="/usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)" \
        sh -eu /root/source/tests/consumers/readme_program.sh
}

demonstration() { on_machine /usr/share/ostdrv-sim/demo.sh --out /root/demo; }

manual_page() {
    on_machine man "$@" < /dev/null > "$work/page" && grep -q NAME "$work/page" && ! grep -i 'warning' "$work/page"
}

# A maker's package, whose libraries are here those of the simulator under the makers' names, in the system's directory.
other_platform() {
    local package=$machine/root/platform directory
    directory=usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)
    mkdir -p "$package/DEBIAN" "$package/$directory"
    cp "$machine/$directory"/ostdrv-sim/lib{cryptoauth,trustx,kset,ostdrv-sim}.so "$package/$directory"
    printf '%s\n' 'Package: maker-platform' 'Version: 1' "Architecture: $native" \
        'Maintainer: maker <maker@maker.example>' 'Provides: ostdrv-platform' 'Conflicts: ostdrv-platform' \
        'Replaces: ostdrv-platform' 'Depends: libssl3, libstdc++6, zlib1g' 'Description: libraries of a device' \
        > "$package/DEBIAN/control"
    on_machine dpkg-deb -b /root/platform /root/platform.deb && apt install /root/platform.deb &&
        ! on_machine dpkg-query -W -f '${db:Status-Status}' ostdrv-sim | grep -qx installed &&
        on_machine ldd /usr/bin/ostdrv | grep "=> .*/${directory#usr/}/libkset\.so" &&
        on_machine sh -c 'echo 128 > /root/light && test "$(ostdrv attr read /root/light)" = 128' && readme_program
}

purge() {
    local ours
    mapfile -t ours < <(on_machine dpkg-query -W -f '${db:Status-Status} ${Package}\n' '*ostdrv*' maker-platform |
        sed -n 's/^installed //p')
    apt purge "${ours[@]}" && apt autoremove --purge \
        -o APT::AutoRemove::RecommendsImportant=false -o APT::AutoRemove::SuggestsImportant=false &&
        files > "$work/after" && diff "$work/before" "$work/after"
}

# on_arm64 PROGRAM ARGUMENT...: a program of the arm64 packages, which are unpacked below $work, on the board there.
on_arm64() {
    local libraries=$work/arm64/usr/lib/aarch64-linux-gnu
    # The host's programs, which the library starts, say that this board is not for them.
    qemu-aarch64 -E LD_LIBRARY_PATH="$libraries" -E OSTDRV_SIM_ROOT="$work/board" \
        ${preload:+-E LD_PRELOAD="$libraries/ostdrv-sim/libostdrv-board.so"} "$work/arm64/usr/bin/$1" "${@:2}"
}

run_arm64() {
    local package preload=''
    for package in "$root"/build/packages/arm64/*.deb; do dpkg-deb -x "$package" "$work/arm64"; done
    on_arm64 ostdrv --version && on_arm64 ostdrv-sim --root "$work/board" --chip atecc608a line 3 high || return
    preload=1
    on_arm64 ostdrv provision --yes && on_arm64 ostdrv serial set OSTRAVEL000000042 &&
        on_arm64 ostdrv key generate --yes && on_arm64 ostdrv csr "$work/device.csr" &&
        openssl req -in "$work/device.csr" -verify -noout &&
        [[ $(on_arm64 ostdrv gpio get 3) == 3=1 ]]
}

own_machine "$@"
mkdir -p "$machine/root/packages" "$machine/root/source/tests"
cp "$packages"/*.deb "$machine/root/packages"
cp "$root/README.md" "$machine/root/source"
cp -r "$root/tests/programs" "$root/tests/consumers" "$machine/root/source/tests"
files > "$work/before"

headline "$native, on a machine with git and nothing else"
check 'apt-get install ./*.deb' install
((failed == 0)) || exit 1
check "the README's tasks" readme_tasks
check "the README's program, with pkg-config" readme_program
check 'the demonstration' demonstration
for page in 'ostdrv' 'ostdrv-sim' '7 libostdrv' '3 adc_read'; do check "man $page" manual_page $page; done
check "another platform's libraries in the place of the simulator's" other_platform
check 'purge leaves nothing' purge

headline 'arm64, unpacked'
if ! compgen -G "$root/build/packages/arm64/*.deb" > /dev/null || ! command -v qemu-aarch64 > /dev/null; then
    echo 'FAILED: there are no packages for arm64, or no qemu-user: run ./package.sh first'
    failed=1
else
    check 'a request for a certificate of its key, and a line' run_arm64
fi

exit $failed
