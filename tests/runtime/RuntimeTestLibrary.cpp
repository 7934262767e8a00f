// A small runtime library for the loader tests.
extern "C" __attribute__((visibility("default"))) int runtime_testlib_answer() {
    return 42;
}
