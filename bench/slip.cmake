quarn_bench(slip)
