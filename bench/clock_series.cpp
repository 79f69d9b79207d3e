// A client's clock over time, as comma-separated values for each of three networks: by how many microseconds it is ahead of
// the server's, and by how many it would be if nobody set it. The simulation is that of clocksync/offset.

#include "ClockWorld.h"

#include <stdio.h>
#include <stdlib.h>

int main() {
    constexpr double SECONDS = 20, STEP = 0.02;
    constexpr int64_t DRIFT_PPM = 50;

    puts("delay_us,seconds,ahead_us,left_alone_us");
    for (const int delayUs : {2000, 200, 0}) {
        srand(1);
        double next = 0;
        quarn::bench::ClockWorld(1, delayUs, DRIFT_PPM).Run(SECONDS, [&](double seconds, int32_t offset) {
            if (seconds < next)
                return;
            printf("%d,%.3f,%d,%.0f\n", delayUs, seconds, offset, seconds * DRIFT_PPM);
            next += STEP;
        });
    }
}
