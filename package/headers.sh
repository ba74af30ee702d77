# Sourced by test.sh: each public header stands alone, with every compiler, and brings in neither the
# system's Windows header nor anything that C++17 does not have.

compile_alone() {
    local compiler=$1 language=$2 standard=$3 header=$4
    printf '%s\n' "#include <$header>" "#include <$header>" \
        '#if defined(_WINDOWS_) || defined(_INC_WINDOWS) || defined(_WINDEF_)' \
        '#error "the header brings in windows.h"' '#endif' 'int main(void) { return 0; }' |
        "$compiler" -x "$language" -std="$standard" -Wall -Wextra -Wpedantic -Werror -fsyntax-only \
            -I "$kest/include" -
}

for header in $(cd "$kest/include" && find kest -name '*.h' | sort); do
    for compiler in "${compilers_cxx[@]}"; do
        check "<$header> alone, C++17, $compiler" compile_alone "$compiler" c++ c++17 "$header"
    done
done
for compiler in "${compilers_c[@]}"; do
    check "<kest/c_api.h> alone, C11, $compiler" compile_alone "$compiler" c c11 kest/c_api.h
done
