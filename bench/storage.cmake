quarn_bench(storage PEERS PkgConfig::STORE_PEERS)
