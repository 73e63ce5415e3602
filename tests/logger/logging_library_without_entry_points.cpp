// A library that carries the logging library's file name but none of its
// entry points, for the logger front's test of a wrong library found first.

extern "C" __attribute__((visibility("default"))) int unrelated_function(void) {
    return 0;
}
