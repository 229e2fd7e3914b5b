# gnuplot -e "data='cost.tsv'; svg='cost.svg'" cost.gp: what an edit costs as the content grows.
set terminal svg size 800,500 background rgb "white" font "sans,13"
set output svg
set datafile missing "nan"
set logscale xy
set xlabel "size of the content, MiB"
set ylabel "ns per operation"
set grid
set key top left
set format y "10^{%L}"
set format x "%g"
plot data using 1:3 with linespoints title "libstdc++ rope: edit", \
     data using 1:4 with linespoints title "std::string: edit", \
     data using 1:5 with linespoints title "absl::Cord: edit", \
     data using 1:2 with linespoints linewidth 2 linecolor rgb "#c03000" title "vfile: edit", \
     data using 1:6 with linespoints dashtype 2 linecolor rgb "#c03000" title "vfile: SetPos alone"
