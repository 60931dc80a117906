# Draws `data`, as `blackoutevenings --reaction` prints it, into the file `picture`.
set terminal svg size 960,560 font 'sans-serif,14' linewidth 1.5 background '#ffffff' name 'overload_reaction'
set output picture
set datafile separator ','

fuse = 25
switchedOff = 20

# When the first smaller setpoint came, in s after the overload, and what it was.
before = NaN
reacted = NaN
setpoint(at, value) = (before > value && !(reacted > 0) ? (reacted = at, reduced = value) : 0, before = value)
set table $unused
plot data every ::1 using 1:(setpoint($1, $4 / 1000.0))
unset table

set title 'Blackout protection when a household overloads the main fuse'
set xlabel 'seconds since the overload'
set ylabel 'ampere on the overloaded phase'
set xrange [-5:35]
set yrange [0:32]
set xtics 5 nomirror
set ytics 5 nomirror
set grid ytics linecolor '#e4e4e4' linewidth 0.5
set border 3 linecolor '#555555'
set key bottom right opaque reverse Left spacing 1.2

set object rectangle from 0, 0 to reacted, 32 fillcolor '#fdecc8' fillstyle solid noborder behind
set arrow from 0, 0 to 0, 32 nohead linecolor '#888888' dashtype 3
set arrow from switchedOff, 0 to switchedOff, 32 nohead linecolor '#888888' dashtype 3
set label '8 A more are switched on' at 0.3, 31
set label 'and off again' at switchedOff + 0.3, 31
set label sprintf('%.1f s to the first smaller setpoint, %.2f A', reacted, reduced) at reacted + 0.3, 2 textcolor '#8a6100'
set label 'rating of the fuse' at 28.5, fuse + 0.9 textcolor '#b22222'
set label '95 % of it' at 28.5, 0.95 * fuse - 1 textcolor '#b22222'

plot fuse with lines linecolor '#b22222' linewidth 1.2 notitle, \
     0.95 * fuse with lines linecolor '#b22222' dashtype 2 linewidth 0.8 notitle, \
     data every 2::1 using 1:($2 / 1000) with lines linecolor '#222222' linewidth 1.6 title 'through the fuse', \
     data every ::1 using 1:($4 / 1000) with steps linecolor '#1f6fb4' linewidth 1.4 title 'setpoint', \
     data every 2::1 using 1:($3 / 1000) with lines linecolor '#2a9d4a' linewidth 1.4 title 'vehicle'
