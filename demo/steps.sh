# What the demonstration prints: a line for each step, with a tick or a cross and its time, and below it the evidence,
# the commands behind the step and the values that they gave. The report (report.sh) gets the same.
#
# A story is a run of steps. Its first cross ends it: the steps behind it need what the failed one should have made.

failures=0     # crosses of all stories
ticks=0        # ticks of all stories
story_done=0   # ticks of this story
story_steps=0
story_failed=0
proved=()      # what the stories without a cross have shown

bold='' green='' red='' dim='' plain=''
if [[ -t 1 && -z ${NO_COLOR-} ]]; then
    bold=$'\e[1m' green=$'\e[32m' red=$'\e[31m' dim=$'\e[2m' plain=$'\e[0m'
fi

# own_folder FOLDER: makes it empty. What lies there already is removed only if a demonstration made it.
own_folder() {
    if [[ -e $1 || -L $1 ]]; then
        [[ -f $1/.made-by-demo && ! -L $1 ]] || { echo "demo.sh: $1 is not the demonstration's, so it stays" >&2; exit 2; }
        rm -rf -- "$1"
    fi
    mkdir -p -- "$1" && : > "$1/.made-by-demo" || exit 2
}

# story TITLE FOLDER: starts a story whose files stay in the folder.
story() {
    folder=$2
    own_folder "$folder"
    story_done=0 story_steps=0 story_failed=0
    printf '\n%s%s%s\n' "$bold" "$1" "$plain"
    report_story "$1"
}

# step TEXT FUNCTION...: the function runs in the story's folder and must not fail in any command.
step() {
    local text=$1 started=${EPOCHREALTIME/./} status seconds
    shift
    ((++story_steps))
    ((story_failed)) && return
    (cd "$folder" && set -e && "$@") > "$folder/step.log" 2>&1 3> "$folder/evidence"
    status=$?
    seconds=$(((${EPOCHREALTIME/./} - started) / 1000))
    printf -v seconds '%d.%03d' $((seconds / 1000)) $((seconds % 1000))
    if ((status == 0)); then
        printf '  %s✓%s %-84s %s%8s s%s\n' "$green" "$plain" "$text" "$dim" "$seconds" "$plain"
        ((brief)) || sed -E "s/^(.{106}).+/\1…/; s/.*/      $dim&$plain/" "$folder/evidence"
        ((++story_done, ++ticks))
    else
        printf '  %s✗ %-84s %8s s%s\n' "$red" "$text" "$seconds" "$plain"
        cat "$folder/evidence" <(tail -n 20 "$folder/step.log") > "$folder/log"
        mv "$folder/log" "$folder/evidence"
        sed 's/^/      /' "$folder/evidence"
        ((++failures, story_failed = 1))
    fi
    report_step "$status" "$text" "$seconds" "$folder/evidence"
    rm -f -- "$folder/step.log" "$folder/evidence"
}

# end_story CLAIM...: what the story has shown, when it has.
end_story() {
    ((story_failed)) || proved+=("$@")
    report_end_story
    printf '  %sThe files are in %s%s\n' "$dim" "$folder" "$plain"
}

# fact NAME [VALUE]: keeps a value for the report's pictures, or gives the one that is kept in the story's folder.
fact() {
    if (($# > 1)); then printf '%s\n' "$2" > "fact-$1"; else cat "$folder/fact-$1" 2> /dev/null; fi
}

# Evidence goes to descriptor 3.
#
# typed COMMAND...: the command as one would type it
typed() {
    local words
    printf -v words ' %q' "$@"
    printf '$%s\n' "$words" >&3
}

# value TEXT: what a command gave
value() {
    printf '  %s\n' "${1//$'\n'/$'\n'  }" >&3
}

# gives VALUE COMMAND...: the command must print exactly this.
gives() {
    local found
    found=$("${@:2}")
    value "$found"
    same "$1" "$found"
}

# fails_with STATUS COMMAND...: the command must end with exactly this exit status.
fails_with() {
    local wanted=$1 status=0 message
    shift
    message=$("$@" 2>&1) || status=$?
    value "exit status $status$(grep -m 1 '^ostdrv' <<< "$message" | sed 's/^[^:]*//')"
    ((status == wanted)) || { echo "exit status $status instead of $wanted: $*"; echo "$message"; return 1; }
}

# same EXPECTED ACTUAL
same() {
    [[ $1 == "$2" ]] || { printf 'expected: %s\nfound:    %s\n' "$1" "$2"; return 1; }
}
