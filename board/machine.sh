# One board: its directory, its device tree, its run.

# Held by everything that the run starts, so that a board is free again when the last of it has ended.
claim_root() {
    mkdir -p "$own" "$root/work" && exec {lock}<> "$own/lock" || fail "cannot use $root"
    flock -n "$lock" || fail "the board in $root is running already, as process $(cat "$own/lock"); --root names another"
    : > "$own/lock" && echo $$ >&"$lock" || fail "cannot write in $own"
    log=$own/log
}

fit_board() {
    local launcher=$programs/tools/ostdrv-sim/ostdrv-sim
    [[ ! -e $root/board ]] || claim_root
    [[ -e $root/board || $root != "$(realpath -m -- "$default_root")" || " ${fit[*]} " == *' --new '* ]] || fit+=(--new)
    "$launcher" --root "$root" "${fit[@]}" > /dev/null || exit 125
    [[ -n ${lock:-} ]] || claim_root
}

# What is left of an earlier run, and every register, as a board finds it that is switched on.
start_world() {
    ((!reset)) || rm -f "$own/world"
    "$programs/board/board_outside" "$own" power-up || exit 125
    [[ ${#with[@]} == 0 ]] || cp -r -- "${with[@]}" "$root/work/" || fail "cannot put the files into $root/work"
    rm -f "$own"/qtest.* "$own/pid"
    mkfifo "$own/qtest.in" "$own/qtest.out" && echo starting > "$own/state" || fail "cannot write in $own"
    make_tree || {
        cat "$log" >&2
        fail 'cannot make the device tree'
    }
}

# What the kernel sees is QEMU's own tree, the devices of board.dts, and this board's properties.
machine=(-M 'virt,gic-version=2' -cpu cortex-a53 -smp 1 -nodefaults -display none -m 257
    -object memory-backend-ram,id=ram,size=256M -numa node,memdev=ram)
make_tree() {
    local property bus tree=$own/tree
    local world=(-object "memory-backend-file,id=world,share=on,mem-path=$own/world,size=1M" -numa node,memdev=world)
    machine+=("${world[@]}")
    qemu-system-aarch64 "${machine[@]}" -machine "dumpdtb=$tree.machine" > "$log" 2>&1 &&
        dtc -q -I dtb -O dts -o "$tree.dts" "$tree.machine" > "$log" 2>&1 &&
        cpp -nostdinc -undef -P -x assembler-with-cpp "$source/board/board.dts" >> "$tree.dts" 2> "$log" || return
    bus=$(sed -n 's/^i2c_bus=//p' "$root/board")
    {
        # The kernel numbers further adapters behind the highest that an alias names.
        ((bus == 0)) || echo "/ { aliases { i2c$((bus - 1)) = \"/psci\"; }; };"
        for property in "$root"/fs/proc/device-tree/*; do
            echo "/ { ${property##*/} = [$(od -An -v -tx1 "$property" | tr -d ' \n')]; };"
        done
    } >> "$tree.dts"
    dtc -q -I dts -O dtb -o "$tree" "$tree.dts" > "$log" 2>&1
}

console_end() {
    echo "The last lines of its console ($own/console):" >&2
    tail -n 15 "$own/console" >&2
}

helpers=()
machine_process=''
end_everything() {
    exec 2> /dev/null
    [[ -z $machine_process ]] || kill -KILL "$machine_process"
    ((${#helpers[@]} == 0)) || kill "${helpers[@]}"
    wait
    [[ -z ${terminal:-} ]] || stty "$terminal"
}

state() { head -n 1 "$own/state"; }

run_machine() {
    local arguments='' argument out err in host host_out status=0
    local parameters="console=ttyAMA0 quiet loglevel=1 iomem=relaxed numa=off panic=-1 sh=$sh mode=$mode"
    local connections=(-fsdev "local,id=root,path=$root,security_model=none,multidevs=remap"
        -device virtio-9p-device,fsdev=root,mount_tag=board
        -qtest "pipe:$own/qtest" -qtest-log /dev/null)
    trap end_everything EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP

    exec {host}<&0 {host_out}>&1
    if [[ $mode == command ]]; then
        for argument; do arguments+=" '${argument//\'/\'\\\'\'}'"; done
        echo "exec$arguments" > "$own/command"
        # QEMU wants files of exactly the access that it uses, and would change a terminal's modes.
        exec {out}> >(exec setpriv --pdeathsig TERM cat {lock}>&-)
        helpers+=($!)
        exec {err}> >(exec setpriv --pdeathsig TERM cat >&2 {lock}>&-)
        helpers+=($!)
        exec {in}< <(exec setpriv --pdeathsig TERM cat <&"$host" {lock}>&-)
        local reader=$!
        exec {host}<&"$in" {host_out}> /dev/null
        connections+=(-chardev "file,id=console,path=$own/console" -device virtio-serial-device
            -add-fd "fd=$out,set=2" -add-fd "fd=$err,set=3"
            -chardev stdio,id=in -device virtserialport,chardev=in,nr=1
            -chardev file,id=out,append=on,path=/dev/fdset/2 -device virtserialport,chardev=out,nr=2
            -chardev file,id=err,append=on,path=/dev/fdset/3 -device virtserialport,chardev=err,nr=3)
    else
        terminal=$(stty -g)
        read -r rows columns < <(stty size) && parameters+=" rows=$rows columns=$columns"
        connections+=(-chardev "stdio,id=console,signal=off,logfile=$own/console")
    fi

    # The machine does not outlive this script, whatever ends it.
    setpriv --pdeathsig KILL qemu-system-aarch64 "${machine[@]}" "${clock[@]}" -dtb "$own/tree" -kernel "$built/vmlinuz" \
        -initrd "$built/initrd" -append "$parameters" -serial chardev:console -monitor none -no-reboot \
        -pidfile "$own/pid" "${connections[@]}" <&"$host" >&"$host_out" 2> "$own/machine.log" &
    machine_process=$!
    [[ $mode == shell ]] || exec {out}>&- {err}>&- {in}<&- {host}<&-
    await_boot
    { wait "$machine_process"; } 2> /dev/null
    status=$?
    machine_process=''
    if [[ $mode == command ]]; then
        wait "${helpers[@]}"
        helpers=("$reader")
    fi
    "$programs/board/board_outside" "$own" power-lost 2> /dev/null && echo cut > "$own/state"
    case $(state) in
        exit\ *) status=$(state) && exit "${status#exit }" ;;
        cut) fail 'the power was cut' ;;
        up)
            [[ $mode == command || $status != 0 ]] || exit 0
            console_end
            fail 'the board stopped by itself'
            ;;
        *)
            cat "$own/machine.log" >&2
            console_end
            fail 'the board did not come up'
            ;;
    esac
}

await_boot() {
    local tries
    for ((tries = 0; tries < 600; ++tries)); do
        [[ $(state) == starting ]] && kill -0 "$machine_process" 2> /dev/null || return
        sleep 0.1
    done
    kill -KILL "$machine_process"
}
