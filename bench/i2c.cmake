quarn_bench(i2c)
