# Targets and rows (see compare.jq) to a Markdown table. A refresh makes a second row of its processor time.
# -v instructions=1: the rows are counts of instructions, for which there are no targets.

FILENAME ~ /targets\.tsv$/ {
    if ($0 !~ /^#/ && NF >= 3) {
        ++targets
        pattern[targets] = "^" $1 "$"; kind[targets] = $2; target[targets] = $3; note[targets] = $4
    }
    next
}

function amount(value, row) {
    if (instructions)
        return sprintf("%.0f", value)
    if (row ~ /private memory/)
        return sprintf("%.1f MB", value / 1e6)
    if (value >= 1e9)
        return sprintf("%.2f s", value / 1e9)
    if (value >= 1e6)
        return sprintf("%.2f ms", value / 1e6)
    if (value >= 1e3)
        return sprintf("%.2f µs", value / 1e3)
    return sprintf("%.1f ns", value)
}

function line(row, ours, peer, ratio, work, rounds,    i, shown, times, wanted, verdict) {
    for (i = 1; i <= targets && row !~ pattern[i]; ++i)
        ;
    shown = kind[i] == "speed" ? 1 / ratio : ratio
    wanted = kind[i] == "time" ? "≤ " target[i] : kind[i] == "speed" ? "≥ " target[i] " ×" : ""
    verdict = kind[i] == "time" ? (ratio <= target[i] ? "yes" : "**no**") : kind[i] == "speed" ? (shown >= target[i] ? "yes" : "**no**") : ""
    times = kind[i] == "speed" ? " ×" : ""
    if (instructions) {
        printf "| %s | %s | %s | %s | %.2f%s |\n", row, note[i], ours, peer, shown, times
        return
    }
    if (row ~ /^log file/)
        work = "" # cp is a process of its own
    if (work != "")
        work = sprintf("%.2f%s", kind[i] == "speed" ? 1 / work : work, times)
    printf "| %s | %s | %s | %s | %.2f%s | %s | %s | %s | %d |\n", row, note[i], ours, peer, shown, times, work, wanted, verdict, rounds
}

function head() {
    if (headed++)
        return
    if (instructions) {
        print "| what | measured against | ours | the peer's | ratio |"
        print "|---|---|---:|---:|---:|"
        return
    }
    print "| what | measured against | ours | the peer's | ratio | of processor time | target | met | rounds |"
    print "|---|---|---:|---:|---:|---:|---:|---|---:|"
}

{ head() }

$1 ~ /^size / {
    printf "| %s | | %.2f MB | | | | ≤ 2.5 MB | %s | 1 |\n", $1, $2 / 1e6, $2 <= 2.5e6 ? "yes" : "**no**"
    next
}

{
    line($1, amount($2, $1), amount($3, $1), $4, $5, $6)
    if ($1 ~ /^refresh/)
        line($1 ", processor time", "", "", $5, "", $6)
}
