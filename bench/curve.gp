# The cost curve as an SVG: time per channel of a load and of a save on the left axis, as CPU time
# of the library's and the services' processes together (solid), of the library's alone (dashed)
# and as wall-clock time (dotted); the peak heap of a save per byte of its body on the right
# axis; against the number of channels.
# Usage: gnuplot -e "data='curve.dat'; out='curve.svg'" bench/curve.gp
set terminal svg size 880,420 dynamic font "sans,12" background rgb "white"
set output out
set title "Loading and saving a federation, 256 channels per member"
set logscale x 2
set xlabel "channels"
set xtics ("1,024" 1024, "16,384" 16384, "131,072" 131072)
set xrange [700:190000]
set ylabel "time per channel (us)"
set yrange [0:*]
set y2label "save: peak heap / body"
set y2range [0:4]
set y2tics 0.5
set ytics nomirror
set key outside right top vertical
set grid xtics ytics
plot data using 1:2 with linespoints lw 2 pt 7 lc 1 title "load, CPU per channel", \
     data using 1:3 with linespoints lw 2 pt 5 lc 2 title "save, CPU per channel", \
     data using 1:7 with linespoints lw 1 dt 2 pt 6 lc 1 title "load, library CPU", \
     data using 1:8 with linespoints lw 1 dt 2 pt 4 lc 2 title "save, library CPU", \
     data using 1:5 with linespoints lw 1 dt 3 pt 6 lc 1 title "load, wall clock", \
     data using 1:6 with linespoints lw 1 dt 3 pt 4 lc 2 title "save, wall clock", \
     data using 1:4 axes x1y2 with linespoints lw 2 pt 9 lc 3 title "save peak heap / body (right)", \
     2.5 axes x1y2 with lines lc rgb "gray" dt 3 title "peak heap limit 2.5"
