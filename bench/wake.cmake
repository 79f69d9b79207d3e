quarn_bench(wake PEERS PkgConfig::UV PkgConfig::EVENT)
