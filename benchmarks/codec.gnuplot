# Draws how many times faster than the baseline the codec is. Called by scripts/bench with data and picture.
set terminal svg size 1000,440 font "sans-serif,13" background "white"
set output picture
set title "Times as fast as the baseline (higher is better)"
set style data histogram
set style histogram clustered gap 1
set style fill solid 0.9 noborder
set boxwidth 0.9
set yrange [0:*]
set ytics 0.5
set grid ytics linecolor "#dddddd"
set key outside bottom center horizontal
set xtics scale 0
# The columns from wall to wall, and so their names next to each other.
set xrange [-0.6:3.6]
baseline(x) = 1
plot for [i=2:5] data using i:xtic(1) title columnheader(i), \
  baseline(x) title "baseline" with lines linecolor "black" dashtype 2
