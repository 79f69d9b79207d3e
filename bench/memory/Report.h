#pragma once

#include <stddef.h>
#include <stdio.h>

#include <cstdlib>
#include <string>

namespace quarn {

// Each prints one table in Markdown.
void ReportConnections();
void ReportWorkers();
void ReportVariables();

inline void Require(bool ok, const char* what) {
    if (ok)
        return;
    fprintf(stderr, "quarn_memory: %s\n", what);
    exit(EXIT_FAILURE);
}

/// Bytes for a table: "216 B", "65.2 KiB".
inline std::string BytesText(size_t bytes) {
    char text[32];
    if (bytes < 4096)
        snprintf(text, sizeof text, "%zu B", bytes);
    else if (bytes < 4096 * 1024)
        snprintf(text, sizeof text, "%.0f KiB", double(bytes) / 1024);
    else
        snprintf(text, sizeof text, "%.0f MiB", double(bytes) / 1024 / 1024);
    return text;
}

}  // namespace quarn
