# Sourced by test.sh: programs that know the installed package alone, built and run.

for name in c-host cpp-host; do
    host=$scratch/$name
    check "$name builds against the package with find_package" build_host "examples/$name" "$host"
    check "$name copies a tree" copies "$host" "$name"
    check "$name prints the text of a failed copy" tells_why "$host" "$name"
done

# A host in C asks for a restore and prints why that failed, or that the system has answered.
restores() {
    local host=$1 place
    place=$(mktemp -d -p "$scratch")
    if [ "$platform" = windows ]; then
        # Wine has the class, but not the signature of its method.
        host_in "$place" "$host" c-restore-host 12
        same 1 $? && same "" "$(cat "$scratch/output")" &&
            same "c-restore-host: IWbemClassObject::Put() failed. Error code = 0x80004003" \
                "$(cat "$scratch/errors")"
        return
    fi
    printf 'instance of SystemRestore { SequenceNumber = 12; };\n' >"$place/points.mof"
    KEST_WMI=$place/points.mof host_in "$place" "$host" c-restore-host 12 &&
        same "the system has answered" "$(cat "$scratch/output")" &&
        grep -F 'SystemRestore::Restore() returned0' "$place/c-restore-host.log" >/dev/null &&
        same 12 "$(cut -d ' ' -f 2 "$place/points.mof.restores")" || return
    printf 'damaged' >"$place/points.mof"
    KEST_WMI=$place/points.mof host_in "$place" "$host" c-restore-host 12
    same 1 $? && same "" "$(cat "$scratch/output")" &&
        same "c-restore-host: IWbemServices::ExecMethod() failed. Error code = 0x8004100a" \
            "$(cat "$scratch/errors")"
}
check "c-restore-host builds against the package with find_package" \
    build_host examples/c-restore-host "$scratch/c-restore-host"
check "c-restore-host asks for a restore" restores "$scratch/c-restore-host"

interface=$scratch/interface
check "every function of the public interface can be linked" build_host package/interface "$interface"
check "and is there when the program runs" host_in "$scratch" "$interface" interface

if [ "$platform" = linux ]; then
    build_with_pkg_config() {
        local name=$1 compiler=$2 standard=$3 source=$4 flags
        mkdir -p "$scratch/pc-$name"
        flags=$(PKG_CONFIG_PATH=$kest/lib/pkgconfig pkg-config --cflags --libs kest) || return
        # shellcheck disable=SC2086
        "$compiler" -std="$standard" -Wall -Wextra -Werror "examples/$name/$source" $flags \
            -Wl,-rpath,"$kest/lib" -o "$scratch/pc-$name/$name"
    }
    check "c-host builds with pkg-config" build_with_pkg_config c-host gcc c11 main.c
    check "c-host from pkg-config copies a tree" copies "$scratch/pc-c-host" c-host
    check "cpp-host builds with pkg-config" build_with_pkg_config cpp-host g++ c++17 main.cpp
    check "cpp-host from pkg-config copies a tree" copies "$scratch/pc-cpp-host" cpp-host
fi

# The command of the package, where it stands.
command_works() {
    local place
    place=$(mktemp -d -p "$scratch")
    make_tree "$place/source"
    (cd "$place" && run_host "$kest/bin" kest copy source target) &&
        diff -r "$place/source" "$place/target" &&
        (cd "$place" && run_host "$kest/bin" kest delete target) && test ! -e "$place/target"
}
check "the package's command copies and deletes" command_works
