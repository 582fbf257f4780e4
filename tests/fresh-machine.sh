#!/bin/bash
# Proves that a machine with nothing on it but git runs ./demo.sh and ./test.sh: in a Debian tree made for the purpose,
# from a clean clone of HEAD. Run "tests/fresh-machine.sh --help".
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
release=bookworm

usage() {
    cat << END
Usage: tests/fresh-machine.sh [--tree DIR]

Makes a minimal Debian tree ($release) in a temporary directory, clones HEAD into it and runs ./demo.sh and ./test.sh
there; takes a quarter of an hour, two gigabytes below \${TMPDIR:-/var/tmp} and root's rights. The tree is removed at
the end. How packages are fetched (mirror, proxies, name servers) is taken from this machine.

  --tree DIR   copy this tree instead of making one; it was made with
               debootstrap --variant=minbase --include=git $release DIR

Exit status: 0 when both are green, 1 when one is not, 2 for bad usage or where it cannot be tried.
END
}

cannot() {
    printf 'fresh-machine.sh: %s\n' "$@" >&2
    exit 2
}

tree=''
while (($#)); do
    case $1 in
        --tree)
            [[ -n ${2-} ]] || cannot '--tree wants a directory'
            [[ -x $2/usr/bin/git ]] || cannot "$2 is no Debian tree with git"
            tree=$(realpath "$2")
            shift
            ;;
        -h | --help)
            usage
            exit
            ;;
        *) cannot "not an option: $1" "Try 'tests/fresh-machine.sh --help'." ;;
    esac
    shift
done
((EUID == 0)) || cannot 'mounts and chroot want root: try it with sudo'
[[ -n $tree ]] || command -v debootstrap > /dev/null ||
    cannot 'debootstrap is missing: install it, or name a tree with --tree'

# In namespaces of its own: what is mounted and what still runs there ends with this script, however it ends.
if [[ -z ${FRESH_MACHINE_ALONE-} ]]; then
    export FRESH_MACHINE_ALONE=1
    unshare --mount --pid --fork --kill-child true 2> /dev/null ||
        cannot 'no namespaces may be made here: it takes a machine, or a container with CAP_SYS_ADMIN'
    work=$(mktemp -d "${TMPDIR:-/var/tmp}/fresh-machine.XXXXXX")
    inside=''
    clean_up() {
        [[ -z $inside ]] || { kill -KILL "$inside"; wait "$inside"; } 2> /dev/null || :
        rm -rf --one-file-system "$work"
    }
    trap clean_up EXIT
    trap 'exit 1' INT TERM HUP
    # In the background, so that a signal is heard at once.
    unshare --mount --pid --fork --kill-child "$0" ${tree:+--tree "$tree"} <<< "$work" &
    inside=$!
    wait "$inside" && status=0 || status=$?
    inside=''
    exit $status
fi
read -r work
machine=$work/machine

headline() { printf '\n== %s\n' "$*"; }

make_machine() {
    if [[ -n $tree ]]; then
        cp -a --reflink=auto "$tree" "$machine"
    else
        local mirror
        mirror=$(apt-get indextargets --format '$(REPO_URI)' "Codename: $release" 'Created-By: Packages' \
            2> /dev/null | head -n 1)
        debootstrap --variant=minbase --include=git "$release" "$machine" ${mirror:+"$mirror"} > "$work/log" 2>&1 ||
            { tail -n 20 "$work/log" >&2; cannot 'debootstrap failed'; }
    fi
    if command -v apt-config > /dev/null; then
        apt-config dump | grep '^Acquire::' | grep -v '^Acquire::IndexTargets' > "$machine/etc/apt/apt.conf.d/99host" || :
    fi
    cp -L /etc/resolv.conf "$machine/etc/resolv.conf"
    mount -t proc proc "$machine/proc"
    mount -t devpts -o newinstance,ptmxmode=0666 devpts "$machine/dev/pts"
}

on_machine() {
    local name environment=()
    for name in http_proxy https_proxy no_proxy HTTP_PROXY HTTPS_PROXY NO_PROXY; do
        [[ -z ${!name-} ]] || environment+=("$name=${!name}")
    done
    chroot "$machine" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root "${environment[@]}" "$@"
}

# run SCRIPT: counts into $failed what does not end with 0
failed=0
run() {
    local started=$SECONDS
    headline "$1"
    if on_machine sh -c 'cd /root/ostdrv && exec "$1"' - "$1"; then
        headline "$1 is green after $((SECONDS - started)) s"
    else
        headline "$1 FAILED after $((SECONDS - started)) s"
        failed=1
    fi
}

headline "a machine with git and nothing else"
make_machine
git -c safe.directory="$root" -C "$root" bundle create -q "$machine/root/ostdrv.bundle" HEAD
on_machine git -c advice.detachedHead=false clone -q /root/ostdrv.bundle /root/ostdrv
on_machine git -C /root/ostdrv log -1 --format='%h %s'
run ./demo.sh
run ./test.sh
exit $failed
