#pragma once

/// The variables of the example receiver unit: what they are called, where they live.

#include <quarn/IPAddress.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>

#include <stdint.h>

#include <string>
#include <vector>

namespace unit {

/// Tags lie above 65535 so that every message carries a header CRC and a CRC32. The high half says which part
/// of the receiver a variable belongs to.
enum Tag : uint32_t {
    UNIT_NAME = 0x00010001,
    UNIT_UPTIME_S = 0x00010002,
    UNIT_TEMPERATURE_C = 0x00010003,
    RF_CHANNEL = 0x00020001,
    RF_FREQUENCY_KHZ = 0x00020002,
    RF_AFC_OFFSET_HZ = 0x00020003,
    RF_SQUELCH_LEVEL = 0x00020004,
    RF_RSSI_DBM = 0x00020005,
    RF_PAIRING_CODE = 0x00020006,
    RF_SCAN_FREQUENCIES_KHZ = 0x00020007,
    RF_PACKETS_RECEIVED = 0x00020008,
    RF_PACKETS_LOST = 0x00020009,
    AUDIO_MUTE = 0x00030001,
    AUDIO_GAIN_DB = 0x00030002,
    AUDIO_DELAY_SAMPLES = 0x00030003,
    AUDIO_OUTPUTS = 0x00030004,
    AUDIO_PEAKS_MDB = 0x00030005,
    AUDIO_EQUALIZER_DB = 0x00030006,
    NETWORK_ADDRESS = 0x00040001,
    NETWORK_TIME_SERVERS = 0x00040002,
    CLOCK_OFFSET_US = 0x00050001,
    CLOCK_UTC_US = 0x00050002,
};

/// Fills a dictionary with every variable of the unit. Both ends of a connection do so.
void DeclareVariables(quarn::VariableDictionary& dictionary);

/// The program variables themselves.
struct ReceiverState {
    std::string name = "receiver";
    uint32_t uptimeS = 0;
    int16_t temperatureC = 25;

    uint8_t channel = 1;
    uint32_t frequencyKHz = 614125;
    int16_t afcOffsetHz = 0;
    uint16_t squelchLevel = 12;
    float rssiDBm = -120.0F;
    std::vector<uint8_t> pairingCode = {0x00, 0x00, 0x00, 0x00};
    std::vector<uint32_t> scanFrequenciesKHz = {614125, 615500, 618250};
    uint64_t packetsReceived = 0;
    std::vector<uint64_t> packetsLost = {0, 0};  // a count an antenna

    bool mute = false;
    float gainDB = 0.0F;
    uint16_t delaySamples = 0;
    std::vector<std::string> outputs = {"analog", "digital"};
    std::vector<int32_t> peaksMDB = {-96000, -96000};  // thousandths of a dB below full scale, an output each
    std::vector<float> equalizerDB = {0.0F, 0.0F, 0.0F, 0.0F};  // low, low mid, high mid, high

    quarn::IPAddress address{std::string("127.0.0.1")};
    std::vector<quarn::IPAddress> timeServers;

    int32_t clockOffsetUs = 0;
    int64_t utcUs = 0;
};

/// Binds every variable to its place in the state, which must outlive the index. What the unit measures can
/// be read and not set, unless `measuredToo`; it is not persistent in any case.
void BindVariables(quarn::VariableIndex& index, ReceiverState& state, bool measuredToo);

}  // namespace unit
