#include "fuzz/Fuzz.h"

#include <stdio.h>
#include <stdlib.h>

void quarn::test::Require(bool holds, const char* what, const char* file, int line) {
    if (holds)
        return;
    fprintf(stderr, "%s:%d: %s\n", file, line, what);
    abort();
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quarn::test::Input input(data, size);
    quarn::test::CheckInput(input);
    return 0;
}
