# The lines that the demonstration prints: one per step, with a tick or a cross and its time.
#
# A story is a run of steps. Its first cross ends it: the steps behind it need what the failed one should have made.

failures=0     # crosses of all stories
story_done=0   # ticks of this story
story_steps=0
story_failed=0

bold='' green='' red='' dim='' plain=''
if [[ -t 1 && -z ${NO_COLOR-} ]]; then
    bold=$'\e[1m' green=$'\e[32m' red=$'\e[31m' dim=$'\e[2m' plain=$'\e[0m'
fi

# story TITLE FOLDER: starts a story whose files stay in the folder.
story() {
    folder=$2
    rm -rf -- "$folder"
    mkdir -p -- "$folder"
    story_done=0 story_steps=0 story_failed=0
    printf '\n%s%s%s\n' "$bold" "$1" "$plain"
}

# step TEXT FUNCTION...: the function runs in the story's folder and must not fail in any command.
step() {
    local text=$1 started=${EPOCHREALTIME/./} status
    shift
    ((++story_steps))
    ((story_failed)) && return
    (cd "$folder" && set -e && "$@") > "$folder/step.log" 2>&1
    status=$?
    local took=$((${EPOCHREALTIME/./} - started))
    if ((status == 0)); then
        printf '  %s✓%s %-84s %s%4d.%03d s%s\n' "$green" "$plain" "$text" "$dim" $((took / 1000000)) \
            $((took / 1000 % 1000)) "$plain"
        ((++story_done))
        rm -f -- "$folder/step.log"
        return
    fi
    printf '  %s✗ %-84s %4d.%03d s%s\n' "$red" "$text" $((took / 1000000)) $((took / 1000 % 1000)) "$plain"
    sed 's/^/      /' "$folder/step.log"
    ((++failures, story_failed = 1))
}

end_story() {
    printf '  %sThe result is in %s%s\n' "$dim" "$folder" "$plain"
}

# fails_with STATUS COMMAND...: the command must end with exactly this exit status.
fails_with() {
    local wanted=$1 status=0
    shift
    "$@" || status=$?
    ((status == wanted)) || { echo "exit status $status instead of $wanted: $*"; return 1; }
}

# same EXPECTED ACTUAL
same() {
    [[ $1 == "$2" ]] || { printf 'expected: %s\nfound:    %s\n' "$1" "$2"; return 1; }
}
