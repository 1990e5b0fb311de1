#!/usr/bin/env bash
# Draws docs/performance.svg from what bench/run.sh measured last.
# shellcheck source=scripts/lib.sh
. "$(dirname -- "$0")/../scripts/lib.sh"

case ${1-} in
  '') ;;
  --help | -h)
    say "Usage: bench/plots.sh"
    say "Draws docs/performance.svg from build/bench/results.json, which bench/run.sh writes:"
    say "what vorgate adds to a read, over parameters and over the depth of the call stack."
    exit 0
    ;;
  *) die 2 "unknown argument '$1': see bench/plots.sh --help" ;;
esac

begin
need_packages php8.2-cli gnuplot-nox
results=$root/build/bench/results.json
[[ -r $results ]] || die 1 "there is no ${results#"$root/"}: run bench/run.sh first"

# points WORKLOAD AXIS OTHER-AXES...: "x y" lines, y the microseconds over the
# do-nothing module, where each other axis has its value.
points() {
  php -n -r '
    [, $results, $workload, $axis] = $argv;
    foreach (json_decode(file_get_contents($results), true) as $row) {
      if (($row["workload"] ?? "") !== $workload) continue;
      $other = array_filter(array_slice($argv, 4), fn ($is) => $row[strtok($is, "=")] != strtok("="));
      if (!$other && $row[$axis] > 0) $points[$row[$axis]] = max(0.01, $row["values"][2] - $row["values"][1]);
    }
    ksort($points);
    foreach ($points as $x => $y) echo "$x $y\n";' "$results" "$@"
}

gnuplot <<END
set terminal svg size 960,320 font "sans-serif,13" background "#ffffff"
set output "$root/docs/performance.svg"
set multiplot layout 1,3
set key samplen 1
set logscale xy
set grid ytics lc rgb "#dddddd"
set border 3
set tics nomirror
set style data linespoints
set linetype 1 lc rgb "#0b5fa5" lw 2 pt 7 ps 0.6
set linetype 2 lc rgb "#b3541e" lw 2 pt 5 ps 0.6
set format x "10^{%L}"
set ylabel "microseconds more"
set key top left
\$number << EOD
$(points read fields size=40 depth=1)
EOD
\$size << EOD
$(points read size fields=1 depth=1)
EOD
\$depth << EOD
$(points read depth fields=20 size=40)
EOD
\$event << EOD
$(points 'tainted read: one event' depth fields=20 size=40)
EOD
set xlabel "parameters of 40 bytes"
plot \$number title "untainted"
set xlabel "bytes of one parameter"
plot \$size title "untainted"
set xlabel "depth of the call stack"
set yrange [0.1:1000]
plot \$event title "tainted: an event" lt 2, \$depth title "untainted" lt 1
END
say "docs/performance.svg is drawn anew"
