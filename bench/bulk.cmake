quarn_bench(bulk)
