# Plots of one stream_bench run: gnuplot -e "base='DIR/NAME'" bench/stream_plots.gp
# Writes base.deviation.png (the send times against their schedule, the engine beside the bare loop) and
# base.feedback.png (rateAdjust and the Target's play-out level over time).
if (!exists("base")) print "give base='DIR/NAME'"; exit
set terminal pngcairo size 900,500 font ",10" noenhanced
set grid

set output base.".deviation.png"
set title "Send time minus due time of each burst (".base.")"
set xlabel "deviation (us), 5 us bins"
set ylabel "bursts"
set logscale y
set xrange [0:*]
plot base.".deviation.dat" using 1:($2 > 0 ? $2 : 1/0) with steps lw 2 title "engine", \
     "" using 1:($3 > 0 ? $3 : 1/0) with steps lw 1 dt 2 title "bare loop"
unset logscale y
set xrange [*:*]

set output base.".feedback.png"
set title "rateAdjust and the Target's play-out level (".base.")"
set xlabel "seconds from play"
set ylabel "rateAdjust (ppm)"
set y2label "play-out level (ms)"
set y2tics
set ytics nomirror
# rateAdjust swings by thousands of ppm after a late burst; the range keeps the correction of a drift visible.
set yrange [-2500:2500]
plot base.".feedback.dat" using 1:4 with steps lw 2 title "rateAdjust", \
     "" using 1:5 with lines lw 1 dt 2 lc rgb "black" title "the drift's correction", \
     base.".target.dat" using 1:2 axes x1y2 with lines lw 1 title "play-out level"
