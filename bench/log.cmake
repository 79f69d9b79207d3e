quarn_bench(log PEERS spdlog::spdlog)
