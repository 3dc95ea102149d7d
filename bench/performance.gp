# Fractions of the copy speed at 1920x1080 on one thread, a row for each setting of each function.
# Needs: lines, the benchmark's table; picture, the file to write.
set terminal svg size 1000, 2700 font "sans,10" noenhanced background "white"
set output picture
set datafile separator "\t"
set title "Fraction of the machine's copy speed, 1920x1080, one thread"
set key at graph 0.98, graph 0.995 right top
set xrange [0:*]
set x2tics
set grid x y linecolor "#dddddd"
set yrange [:] reverse
set offsets 0, 0, 1, 1
of_level(level) = "< awk -F ' *[|] *' -v OFS='\t' '$4 == \"1920x1080\" && $6 == 1 && $5 == \"" . level . \
  "\" { sub(/^lumi(Filter)?/, \"\", $2); print $2 \" \" $3, $9 }' " . lines
plot of_level("sse3") using 2:0:yticlabels(1) title "SSE3" with points pointtype 6 pointsize 0.6 linecolor "#d95f02", \
     of_level("avx2") using 2:0:yticlabels(1) title "AVX2" with points pointtype 7 pointsize 0.6 linecolor "#1b6ca8"
