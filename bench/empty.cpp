// A shared library of which nothing is asked.
extern "C" __attribute__((visibility("default"))) int empty() {
    return 0;
}
