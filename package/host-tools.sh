# Sourced: how a host is built and run. Needs `scratch`, and for what it calls `run_host`, `host_path`,
# `kest` and `configure_host`.

build_host() {
    local source=$1 build=$2
    cmake -S "$source" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$kest" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_COMPILE_WARNING_AS_ERROR=ON "${configure_host[@]}" && cmake --build "$build"
}

# A small tree: files, folders, an empty one.
make_tree() {
    mkdir -p "$1/inner/empty" && printf 'one\n' >"$1/one.txt" && printf 'two\n' >"$1/inner/two.bin"
}

# Runs a host in a folder of its own. Leaves its texts in $scratch/output and errors.
host_in() {
    local folder=$1
    shift
    (cd "$folder" && run_host "$@") >"$scratch/output.raw" 2>"$scratch/errors.raw"
    local status=$?
    tr -d '\r' <"$scratch/output.raw" >"$scratch/output"
    tr -d '\r' <"$scratch/errors.raw" >"$scratch/errors"
    return $status
}

# A host copies a tree over an older one.
copies() {
    local host=$1 name=$2 place source target
    place=$(mktemp -d -p "$scratch")
    source=$(host_path "$place/source")
    target=$(host_path "$place/target")
    make_tree "$place/source"
    mkdir "$place/target" && printf 'old\n' >"$place/target/old.txt"
    if ! host_in "$place" "$host" "$name" "$source" "$target"; then
        cat "$scratch/errors"
        return 1
    fi
    same "copied" "$(cat "$scratch/output")" && same "" "$(cat "$scratch/errors")" &&
        diff -r "$place/source" "$place/target" &&
        grep -F $'\tTransactedFS:L' "$place/$name.log" |
        grep -F "CopyFileTransacted $source\one.txt -> $target\one.txt" >/dev/null
}

# A host prints why its copy failed, and nothing has changed.
tells_why() {
    local host=$1 name=$2 place missing
    place=$(mktemp -d -p "$scratch")
    missing=$(host_path "$place/missing")
    mkdir "$place/target" && printf 'old\n' >"$place/target/old.txt"
    host_in "$place" "$host" "$name" "$missing" "$(host_path "$place/target")"
    same 1 $? && same "" "$(cat "$scratch/output")" &&
        same "$name: Copy failed: $missing does not exist" "$(cat "$scratch/errors")" &&
        same "old" "$(cat "$place/target/old.txt")" &&
        same $'target/old.txt' "$(cd "$place" && find . -type f ! -name '*.log' -printf '%P\n')"
}

# The file that README.md shows under that name.
readme_file() {
    sed -nE "/^\`\`\`[a-z]+ $1\$/,/^\`\`\`\$/ { /^\`\`\`/d; p }" README.md >"$2/$1" && test -s "$2/$1"
}

# README.md's ten lines, built in the folder $1, copy a tree in an empty folder.
ten_lines_copy() {
    local place
    place=$(mktemp -d -p "$scratch")
    make_tree "$place/documents"
    host_in "$place" "$1" host && same "copied" "$(cat "$scratch/output")" &&
        diff -r "$place/documents" "$place/backup"
}
