quarn_bench(clocksync)
