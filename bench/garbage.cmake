quarn_bench(garbage)
