#!/usr/bin/env bash
# Installs the build into a temporary prefix and runs the installed launcher
# with a fresh home: it must make the working folder, give it the sample
# templates once and never again, and start the program there.
set -euo pipefail

cmake=$1
build_dir=$2
readonly banner="New session"
readonly headless_note="No display found: running headless"
readonly banner_wait_rounds=300 # of 0.1 s

if ! command -v dpkg-deb > /dev/null; then
    echo "SKIP: dpkg-deb is missing, so this is no Debian system and its install layout is not checked"
    exit 77
fi

scratch=$(mktemp -d)
program_pid=
cleanup() {
    if [ -n "$program_pid" ]; then kill "$program_pid" 2> /dev/null || true; fi
    rm -rf "$scratch"
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

prefix=$scratch/prefix
"$cmake" --install "$build_dir" --prefix "$prefix" > "$scratch/install.log" \
    || { cat "$scratch/install.log"; fail "cmake --install"; }
for file in bin/quillbar bin/quillbar-tool libexec/quillbar/quillbar share/quillbar/deviceFolder/TCP.json \
    share/applications/quillbar.desktop share/icons/hicolor/256x256/apps/quillbar.png \
    lib/systemd/system/quillbar.service share/man/man1/quillbar.1.gz share/man/man1/quillbar-tool.1.gz \
    share/doc/quillbar/README.md share/doc/quillbar/copyright share/doc/quillbar/changelog.gz; do
    [ -e "$prefix/$file" ] || fail "not installed: $file"
done
# The service starts the launcher of its own tree, whatever prefix that is.
grep -qx "ExecStart=$prefix/bin/quillbar" "$prefix/lib/systemd/system/quillbar.service" \
    || fail "the unit does not start the launcher of $prefix"

# start_in <expected working folder> [VAR=value...]: runs the installed
# launcher without a display in an environment of its own, waits for the
# program's log banner in that folder and stops the program again (it has no
# exit of its own but closing its window).
start_in() {
    local work_dir=$1
    shift
    local banners_before=0
    [ -f "$work_dir/history.log" ] && banners_before=$(grep -c "$banner" "$work_dir/history.log")
    env -i PATH="$PATH" "$@" "$prefix/bin/quillbar" > "$scratch/stdout" 2> "$scratch/stderr" &
    program_pid=$!
    local round
    for ((round = 0; round < banner_wait_rounds; ++round)); do
        if [ -f "$work_dir/history.log" ] && [ "$(grep -c "$banner" "$work_dir/history.log")" -gt "$banners_before" ]; then
            break
        fi
        kill -0 "$program_pid" 2> /dev/null || { cat "$scratch/stderr"; fail "the program ended before its banner in $work_dir"; }
        sleep 0.1
    done
    ((round < banner_wait_rounds)) || { cat "$scratch/stderr"; fail "no new log banner in $work_dir/history.log"; }
    [ "$(readlink -f "/proc/$program_pid/exe")" = "$(readlink -f "$prefix/libexec/quillbar/quillbar")" ] \
        || fail "the launcher did not become the installed program"
    kill "$program_pid"
    wait "$program_pid" || true
    program_pid=
}

home=$scratch/home
mkdir -p "$home"
user_work=$home/data/quillbar

# A person's first start, without a display: the folder is made, the samples
# copied, and the headless platform announced once.
start_in "$user_work" HOME="$home" XDG_DATA_HOME="$home/data"
diff -r "$prefix/share/quillbar/deviceFolder" "$user_work/deviceFolder" > /dev/null \
    || fail "the sample templates were not copied into $user_work/deviceFolder"
[ "$(grep -c "$headless_note" "$scratch/stderr")" -eq 1 ] || fail "the headless start was not announced once on stderr"

# The operator's templates are theirs: a later start neither restores an
# edited sample nor brings back a removed one.
echo "edited" >> "$user_work/deviceFolder/TCP.json"
cp "$user_work/deviceFolder/TCP.json" "$scratch/edited.json"
rm "$user_work/deviceFolder/PulseCounter_PC2.json"
start_in "$user_work" HOME="$home" XDG_DATA_HOME="$home/data" QT_QPA_PLATFORM=offscreen
cmp -s "$scratch/edited.json" "$user_work/deviceFolder/TCP.json" || fail "an edited template was overwritten"
[ ! -e "$user_work/deviceFolder/PulseCounter_PC2.json" ] || fail "a removed template came back"
[ "$(grep -c "$banner" "$user_work/history.log")" -eq 2 ] || fail "the second start did not log in the same folder"

# Without XDG_DATA_HOME the folder is the usual one below the home.
start_in "$home/.local/share/quillbar" HOME="$home"
[ -f "$home/.local/share/quillbar/deviceFolder/TCP.json" ] || fail "no templates in ~/.local/share/quillbar"

# Under systemd the state directory is the working folder, whatever HOME is.
start_in "$scratch/state" STATE_DIRECTORY="$scratch/state" HOME="$home"
[ -f "$scratch/state/deviceFolder/TCP.json" ] || fail "no templates in the service's state directory"

echo "PASS: installed tree, launcher and working folders"
