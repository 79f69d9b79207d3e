// Counts the memory that connections, workers and variables take; scripts/size builds and runs it for the board. Many of a
// kind are made, and the difference is divided by their number. What the kernel holds for them (socket buffers, a
// thread's kernel stack) is not in it.

#include "memory/Report.h"

int main() {
    quarn::ReportConnections();
    quarn::ReportWorkers();
    quarn::ReportVariables();
}
