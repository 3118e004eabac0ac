# Results of bench/alternate to rows named after the variable "what", like those of compare.jq: name, our median, the peer's, median ratio, "", rounds.
# Time in ns, memory in bytes.

BEGIN {
    split("time|processor time|private memory", names, "|")
    split("1e6 1e6 1024", units, " ")
}

# The session bus's services write to the same place.
$2 == "ours" || $2 == "peer" {
    for (i = 1; i <= 3; ++i)
        value[$2, i, $1] = $(i + 2) * units[i]
    rounds = $1 + 0 > rounds ? $1 + 0 : rounds
}

function median(list, n,    i, j, held) {
    for (i = 2; i <= n; ++i) {
        held = list[i]
        for (j = i - 1; j >= 1 && list[j] > held; --j)
            list[j + 1] = list[j]
        list[j + 1] = held
    }
    return n % 2 ? list[(n + 1) / 2] : (list[n / 2] + list[n / 2 + 1]) / 2
}

END {
    for (i = 1; i <= 3; ++i) {
        for (round = 1; round <= rounds; ++round) {
            ours[round] = value["ours", i, round]
            peer[round] = value["peer", i, round]
            ratio[round] = ours[round] / peer[round]
        }
        printf what ", %s\t%.0f\t%.0f\t%.4f\t\t%d\n", names[i], median(ours, rounds), median(peer, rounds), median(ratio, rounds), rounds
    }
}
