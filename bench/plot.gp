# Plots the time of one row over the size; called by scripts/bench as gnuplot -e "data='FILE'".
set terminal svg size 1000,450 font "sans-serif,12" background "white"
set logscale xy
set format y "%.0s %cs"
set grid ytics
set key left top
set linetype 1 linewidth 3 linecolor "black"
set multiplot layout 1,2

set title "Configuration on one line"
set xlabel "outbounds"
set ylabel "time for one outbound"
set xtics (1, 20, 500, 5000)
set xrange [0.7:7000]
set yrange [200e-9:100e-6]
plot for [name in "egress tree-alone nlohmann-json rapidjson boost-json simdjson"] \
  data index "line/".name using 1:($2*1e-9) with linespoints title name

set title "Diagnosis"
set xlabel "sockets"
set ylabel "time for one socket"
set xtics (50, 1000, 10000, 100000)
set xrange [30:200000]
set yrange [10e-9:200e-9]
plot for [name in "egress diagnose lower-bound"] \
  data index "sockets/".name using 1:($2*1e-9) with linespoints title name
