#!/bin/bash
# Proves that a machine with nothing on it but git runs ./demo.sh and ./test.sh: in a Debian tree made for the purpose,
# from a clean clone of HEAD. Run "tests/fresh-machine.sh --help".
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
. "$root/tests/machine.sh"

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

machine_options "$@"
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

own_machine "$@"
headline "a machine with git and nothing else"
git -c safe.directory="$root" -C "$root" bundle create -q "$machine/root/ostdrv.bundle" HEAD
on_machine git -c advice.detachedHead=false clone -q /root/ostdrv.bundle /root/ostdrv
on_machine git -C /root/ostdrv log -1 --format='%h %s'
run ./demo.sh
run ./test.sh
exit $failed
