# Sourced by test.sh: what makes an attacker's life harder is on in the files themselves.

if [ "$platform" = linux ]; then
    # The loader's tables cannot be written, the stack cannot be run, the place in memory is not known
    # before, functions notice that they overran their frame. $2: the flag of a program.
    is_hardened() {
        local headers dynamic symbols missing=
        headers=$(readelf -W -h -l "$1") && dynamic=$(readelf -W -d "$1") &&
            symbols=$(readelf -W --dyn-syms "$1") || return
        grep -qE '^ +Type: +DYN ' <<<"$headers" || missing+="position independence, "
        grep -qE '^ +GNU_RELRO ' <<<"$headers" || missing+="RELRO, "
        grep -qE '^ +GNU_STACK .* RW +0x' <<<"$headers" || missing+="a stack without code, "
        grep -qE '\(FLAGS(_1)?\) .*NOW' <<<"$dynamic" || missing+="binding at the start, "
        [ "${2:-}" != program ] || grep -qE '\(FLAGS_1\) .*PIE' <<<"$dynamic" || missing+="PIE, "
        ! grep -q '(TEXTREL)' <<<"$dynamic" || missing+="code that is never written, "
        grep -q ' __stack_chk_fail' <<<"$symbols" || missing+="the stack protector, "
        [ "${2:-}" = program ] || grep -qE ' __[a-z]+_chk' <<<"$symbols" || missing+="checked calls, "
        same "" "${missing%, }"
    }
    check "lib/libkest.so is hardened" is_hardened "$kest/lib/libkest.so"
    check "bin/kest is hardened" is_hardened "$kest/bin/kest" program

    soft_file() {
        echo 'int soft(void) { return 0; }' |
            gcc -x c -shared -fPIC -Wl,-z,norelro,-z,lazy,-z,execstack - -o "$scratch/soft.dll"
    }
    lacking='RELRO, a stack without code, binding at the start, the stack protector, checked calls'
else
    # The same on Windows: a random place in the whole address space, no code in data.
    is_hardened() {
        local headers file=${1##*/} missing=
        headers=$(x86_64-w64-mingw32-objdump -p -h "$1") || return
        grep -q 'HIGH_ENTROPY_VA' <<<"$headers" || missing+="high entropy, "
        grep -q 'DYNAMIC_BASE' <<<"$headers" || missing+="a random place, "
        grep -q 'NX_COMPAT' <<<"$headers" || missing+="data without code, "
        grep -qE '^ +[0-9]+ \.reloc ' <<<"$headers" || missing+="what moving it needs, "
        # Nine digits or more: beyond 4 GiB.
        grep -qE '^ImageBase\s+0*[1-9a-f][0-9a-f]{8,}$' <<<"$headers" || missing+="a place beyond 4 GiB, "
        if [ -e "$symbols/$file.debug" ]; then
            x86_64-w64-mingw32-nm "$symbols/$file.debug" |
                grep ' __stack_chk_fail' >/dev/null ||
                missing+="the stack protector, "
        fi
        same "" "${missing%, }"
    }
    symbols=$scratch/debug/bin
    check "bin/Kest.dll is hardened" is_hardened "$kest/bin/Kest.dll"
    check "bin/kest.exe is hardened" is_hardened "$kest/bin/kest.exe"

    soft_file() {
        echo 'int soft(void) { return 0; }' | x86_64-w64-mingw32-gcc-posix -x c -shared \
            -Wl,--disable-dynamicbase,--disable-nxcompat,--disable-high-entropy-va,--image-base,0x10000000 \
            - -o "$scratch/soft.dll"
    }
    lacking='high entropy, a random place, data without code, a place beyond 4 GiB'
fi

# That the checks above can fail: a file that was linked without all this lacks everything.
soft_file_is_found_out() {
    local found
    soft_file || return
    found=$(is_hardened "$scratch/soft.dll" | sed -n 's/^+\([^+]\)/\1/p')
    same "$lacking" "$found"
}
check "a file without hardening is found out" soft_file_is_found_out
