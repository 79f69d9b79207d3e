#pragma once

/// What both ends of the scanner agree on: its variables and its sentences.

#include <quarn/SentenceGrammar.h>
#include <quarn/VariableDictionary.h>

#include <stdint.h>

namespace scanner {

/// Variables and sentences share one range of tags. Above 65535, messages carry a header CRC and a CRC32.
enum Tag : uint32_t {
    RF_THRESHOLD_DBM = 0x00700001,
    RF_LABEL = 0x00700002,
    RF_SCANS = 0x00700003,
    SCAN = 0x00710001,     ///< to the scanner: UINT32 from, UINT32 to, in kHz, both included
    CARRIER = 0x00710011,  ///< from it: UINT32 kHz, FLOAT dBm
    DONE = 0x00710012,     ///< from it: UINT32 number of carriers before it
    REFUSED = 0x00710013,  ///< from it: STRING reason
};

class Variables : public quarn::VariableDictionary {
public:
    Variables() : VariableDictionary("scanner") {
        using enum quarn::VariantType;
        Add(RF_THRESHOLD_DBM, "rf.threshold-dbm", FLOAT);
        Add(RF_LABEL, "rf.label", STRING);
        Add(RF_SCANS, "rf.scans", UINT32);
    }
};

class Grammar : public quarn::SentenceGrammar {
public:
    Grammar() : SentenceGrammar("scanner") {
        using enum quarn::VariantType;
        Add(SCAN, "scan", 0, UINT32, UINT32, NONE);
        Add(CARRIER, "carrier", 0, UINT32, FLOAT, NONE);
        Add(DONE, "done", 0, UINT32, NONE);
        Add(REFUSED, "refused", 0, STRING, NONE);
    }
};

}  // namespace scanner
