quarn_bench(tcp PEERS PkgConfig::UV)
