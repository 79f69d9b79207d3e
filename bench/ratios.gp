# gnuplot -c bench/ratios.gp ROWS TITLE PICTURE.svg: a bar for each row that bench/ratios.py printed.
set datafile separator '\t'
stats ARG1 using 2 nooutput
rows = STATS_records
low = STATS_min
high = STATS_max
set terminal svg size 800,(90 + 19 * rows) font 'sans-serif,12' background 'white'
set output ARG3
set lmargin 38
set rmargin 3
set tmargin 3
set title ARG2 font ',14'
set border 1
set tics nomirror scale 0.5
set logscale x
set xrange [(low < 1 ? low : 1) / 2:high * 2]
set xtics (0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200)
set xlabel "times quarn's; to the right of 1, quarn is the faster one"
set grid xtics lc rgb '#dddddd'
set yrange [rows - 0.4:-0.6]
set arrow 1 from 1, graph 0 to 1, graph 1 nohead lc rgb '#333333' front
set style fill solid noborder
plot ARG1 using 2:0:(1):2:($0 - 0.36):($0 + 0.36):ytic(1) with boxxyerror lc rgb '#1f5fa8' notitle, \
  '' using ($2 < 1 ? $2 : NaN):0:($2):(1):($0 - 0.36):($0 + 0.36) with boxxyerror lc rgb '#c2611f' notitle, \
  '' using ($2 * 1.05):($2 < 1 ? NaN : $0):(sprintf('%.2f', $2)) with labels left notitle, \
  '' using ($2 / 1.05):($2 < 1 ? $0 : NaN):(sprintf('%.2f', $2)) with labels right notitle
