# A Debian tree made for one proof, which ends with it however it ends. Sourced by the scripts that take such a machine:
# $release is its Debian, $machine its tree and $work a directory beside it.

release=bookworm

headline() { printf '\n== %s\n' "$*"; }

cannot() {
    printf "${0##*/}: %s\n" "$@" >&2
    exit 2
}

# machine_options ARGUMENT...: takes the script's options, --tree DIR and --help.
machine_options() {
    tree=''
    while (($#)); do
        case $1 in
            --tree)
                [[ -n ${2-} ]] || cannot '--tree wants a directory'
                tree=$2
                shift
                ;;
            -h | --help) usage && exit ;;
            *) cannot "not an option: $1" "Try '$0 --help'." ;;
        esac
        shift
    done
    [[ -z $tree || -x $tree/usr/bin/git ]] || cannot "$tree is no Debian tree with git"
}

# own_machine ARGUMENT...: runs the script once more with its arguments in namespaces of its own, so that what is
# mounted and what still runs there ends with it, and makes the machine: a copy of $tree, or a new one without that.
own_machine() {
    ((EUID == 0)) || cannot 'mounts and chroot want root: try it with sudo'
    [[ -n $tree ]] || command -v debootstrap > /dev/null ||
        cannot 'debootstrap is missing: install it, or name a tree with --tree'
    if [[ -z ${FRESH_MACHINE_ALONE-} ]]; then
        export FRESH_MACHINE_ALONE=1
        unshare --mount --pid --fork --kill-child true 2> /dev/null ||
            cannot 'no namespaces may be made here: it takes a machine, or a container with CAP_SYS_ADMIN'
        work=$(mktemp -d "${TMPDIR:-/var/tmp}/fresh-machine.XXXXXX")
        inside=''
        trap remove_machine EXIT
        trap 'exit 1' INT TERM HUP
        # In the background, so that a signal is heard at once.
        unshare --mount --pid --fork --kill-child "$0" "$@" <<< "$work" &
        inside=$!
        local status=0
        wait "$inside" || status=$?
        inside=''
        exit $status
    fi
    read -r work
    machine=$work/machine
    make_machine
}

remove_machine() {
    [[ -z $inside ]] || { kill -KILL "$inside"; wait "$inside"; } 2> /dev/null || :
    rm -rf --one-file-system "$work"
}

# How packages are fetched is taken from this machine.
make_machine() {
    local mirror
    if [[ -n $tree ]]; then
        cp -a --reflink=auto "$tree" "$machine"
    else
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
