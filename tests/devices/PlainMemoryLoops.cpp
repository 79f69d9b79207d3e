// A loop over plain memory, which the optimiser makes a block routine of: the control of check_block_routines.py.

#include <stddef.h>
#include <stdint.h>

void ClearPlain(uint8_t* to, size_t count);

void ClearPlain(uint8_t* to, size_t count) {
    for (size_t i = 0; i < count; ++i)
        to[i] = 0;
}
