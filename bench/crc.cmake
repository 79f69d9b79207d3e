quarn_bench(crc PEERS PkgConfig::CRC_PEERS)
