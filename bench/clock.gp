# gnuplot -c bench/clock.gp SERIES.csv PICTURE.svg: what clock_series printed, a panel for each network.
set datafile separator ','
set terminal svg size 800,660 font 'sans-serif,13' background 'white'
set output ARG2
set multiplot layout 3,1 margins 0.10,0.97,0.09,0.94 spacing 0.02,0.09
set border 3
set tics nomirror
set grid ytics lc rgb '#dddddd'
set xrange [0:20]
set ylabel 'ahead, µs'
array delays = [2000, 200, 0]
array networks = ['0 to 2 ms each way', '0 to 200 µs each way', 'no delay']
array limits = [1600, 160, 16]
do for [panel = 1:3] {
  set label 1 networks[panel] at graph 0, 1.08 left font ',14'
  if (panel == 1) { set key at graph 1, 1.14 top right horizontal } else { set key off }
  if (panel == 3) { set xlabel 'seconds' }
  set yrange [-limits[panel]:limits[panel]]
  plot ARG1 using ($1 == delays[panel] ? $2 : NaN):4 every 20 with lines lc rgb '#777777' dt 2 title 'left alone, 50 ppm fast', \
    '' using ($1 == delays[panel] ? $2 : NaN):3 with lines lc rgb '#1f5fa8' title 'set by the protocol'
}
