quarn_bench(registers)
