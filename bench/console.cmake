quarn_bench(console)
