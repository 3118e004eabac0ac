# Google Benchmark's reports (one array of them) to rows: name, our median, the peer's, both in ns, median of the
# ratios of time and of processor time round by round, rounds.
# Two benchmarks named "<row>|ours" and "<row>|peer" make a row; the n-th repetition of both is round n.

def median: sort | if length == 0 then null
  elif length % 2 == 1 then .[length / 2 | floor]
  else (.[length / 2 - 1] + .[length / 2]) / 2 end;

[ .[].benchmarks[] | select(.run_type == "iteration")
  | (.name | split("|")) as $parts
  | { row: $parts[0], who: ($parts[1] | split("/")[0]), round: .repetition_index,
      real: .real_time, cpu: .cpu_time } ]
| group_by(.row)[]
| . as $runs
| def times($who; field): [ $runs[] | select(.who == $who) ] | sort_by(.round) | map(field);
  { row: $runs[0].row,
    ours: (times("ours"; .real) | median), peer: (times("peer"; .real) | median),
    time: ([times("ours"; .real), times("peer"; .real)] | transpose | map(.[0] / .[1]) | median),
    cpu: ([times("ours"; .cpu), times("peer"; .cpu)] | transpose | map(.[0] / .[1]) | median),
    rounds: (times("ours"; .real) | length) }
| [.row, .ours, .peer, .time, .cpu, .rounds] | @tsv
