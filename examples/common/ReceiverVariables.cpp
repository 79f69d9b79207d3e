#include "common/ReceiverVariables.h"

#include <quarn/VariantValue.h>

namespace unit {

using quarn::VariantType;
using quarn::VariantValue;

void DeclareVariables(quarn::VariableDictionary& dictionary) {
    dictionary.Add(UNIT_NAME, "unit.name", VariantType::STRING);
    dictionary.Add(UNIT_UPTIME_S, "unit.uptime-s", VariantType::UINT32);
    dictionary.Add(UNIT_TEMPERATURE_C, "unit.temperature-c", VariantType::INT16);
    dictionary.Add(RF_CHANNEL, "rf.channel", VariantType::UINT8);
    dictionary.Add(RF_FREQUENCY_KHZ, "rf.frequency-khz", VariantType::UINT32);
    dictionary.Add(RF_AFC_OFFSET_HZ, "rf.afc-offset-hz", VariantType::INT16);
    dictionary.Add(RF_SQUELCH_LEVEL, "rf.squelch-level", VariantType::UINT16);
    dictionary.Add(RF_RSSI_DBM, "rf.rssi-dbm", VariantType::FLOAT);
    dictionary.Add(RF_PAIRING_CODE, "rf.pairing-code", VariantType::UINT8_VECTOR);
    dictionary.Add(RF_SCAN_FREQUENCIES_KHZ, "rf.scan-frequencies-khz", VariantType::UINT32_VECTOR);
    dictionary.Add(RF_PACKETS_RECEIVED, "rf.packets-received", VariantType::UINT64);
    dictionary.Add(RF_PACKETS_LOST, "rf.packets-lost", VariantType::UINT64_VECTOR);
    dictionary.Add(AUDIO_MUTE, "audio.mute", VariantType::BOOLEAN);
    dictionary.Add(AUDIO_GAIN_DB, "audio.gain-db", VariantType::FLOAT);
    dictionary.Add(AUDIO_DELAY_SAMPLES, "audio.delay-samples", VariantType::UINT16);
    dictionary.Add(AUDIO_OUTPUTS, "audio.outputs", VariantType::STRING_LIST);
    dictionary.Add(AUDIO_PEAKS_MDB, "audio.peaks-mdb", VariantType::INT32_VECTOR);
    dictionary.Add(AUDIO_EQUALIZER_DB, "audio.equalizer-db", VariantType::FLOAT_VECTOR);
    dictionary.Add(NETWORK_ADDRESS, "network.address", VariantType::IP_ADDRESS);
    dictionary.Add(NETWORK_TIME_SERVERS, "network.time-servers", VariantType::IP_ADDRESS_LIST);
    dictionary.Add(CLOCK_OFFSET_US, "clock.offset-us", VariantType::INT32);
    dictionary.Add(CLOCK_UTC_US, "clock.utc-us", VariantType::INT64);
}

namespace {

template <class T>
void BindMeasured(quarn::VariableIndex& index, uint32_t tag, VariantType type, T* variable, bool settable) {
    if (settable)
        index.Add(tag, variable, 0);
    else
        index.Add(
            tag, type, [variable] { return VariantValue(*variable); }, nullptr, 0);
    index.MarkNonpersistent(tag);
}

}  // namespace

void BindVariables(quarn::VariableIndex& index, ReceiverState& state, bool measuredToo) {
    index.Add(UNIT_NAME, &state.name, 0);
    BindMeasured(index, UNIT_UPTIME_S, VariantType::UINT32, &state.uptimeS, measuredToo);
    BindMeasured(index, UNIT_TEMPERATURE_C, VariantType::INT16, &state.temperatureC, measuredToo);
    index.Add(RF_CHANNEL, &state.channel, 0);
    index.Add(RF_FREQUENCY_KHZ, &state.frequencyKHz, 0);
    BindMeasured(index, RF_AFC_OFFSET_HZ, VariantType::INT16, &state.afcOffsetHz, measuredToo);
    index.Add(RF_SQUELCH_LEVEL, &state.squelchLevel, 0);
    BindMeasured(index, RF_RSSI_DBM, VariantType::FLOAT, &state.rssiDBm, measuredToo);
    index.Add(RF_PAIRING_CODE, &state.pairingCode, 0);
    index.Add(RF_SCAN_FREQUENCIES_KHZ, &state.scanFrequenciesKHz, 0);
    BindMeasured(index, RF_PACKETS_RECEIVED, VariantType::UINT64, &state.packetsReceived, measuredToo);
    BindMeasured(index, RF_PACKETS_LOST, VariantType::UINT64_VECTOR, &state.packetsLost, measuredToo);
    index.Add(AUDIO_MUTE, &state.mute, 0);
    index.Add(AUDIO_GAIN_DB, &state.gainDB, 0);
    index.Add(AUDIO_DELAY_SAMPLES, &state.delaySamples, 0);
    index.Add(AUDIO_OUTPUTS, &state.outputs, 0);
    BindMeasured(index, AUDIO_PEAKS_MDB, VariantType::INT32_VECTOR, &state.peaksMDB, measuredToo);
    index.Add(AUDIO_EQUALIZER_DB, &state.equalizerDB, 0);
    index.Add(NETWORK_ADDRESS, &state.address, 0);
    index.Add(NETWORK_TIME_SERVERS, &state.timeServers, 0);
    BindMeasured(index, CLOCK_OFFSET_US, VariantType::INT32, &state.clockOffsetUs, measuredToo);
    BindMeasured(index, CLOCK_UTC_US, VariantType::INT64, &state.utcUs, measuredToo);
}

}  // namespace unit
