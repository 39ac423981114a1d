#!/bin/sh
# A small external evaluation for `ebv_est = external_bv "...";`.
#
# Davok writes "data.tmp" in the working folder (a heading line, then one line per individual:
# Progeny Sire Dam Flag Sex G NMPrg NFPrg F Homo Phen Res Polygene QTL Inputed_BV, with "---" as
# the phenotype of an individual without a record), runs the command, and reads "my_bv.txt": a
# heading line, then one "identifier value" line per individual it should update.
#
# This script gives a recorded individual h2 times its phenotype's deviation from the mean of
# all records, and an individual without a record the average of its parents' values (parents
# come before their progeny in data.tmp; a parent not in the file counts 0).
#
# Usage in a parameter file (h2 defaults to 0.3):
#     ebv_est = external_bv "sh external_bv.sh 0.4";
h2=${1:-0.3}
awk -v h2="$h2" '
NR == 1 { next }
{
    n++
    id[n] = $1; sire[n] = $2; dam[n] = $3; phen[n] = $11
    if ($11 != "---") { sum += $11; records++ }
}
END {
    mean = records ? sum / records : 0
    print "ID EBV"
    for (i = 1; i <= n; i++) {
        if (phen[i] == "---") bv[id[i]] = (bv[sire[i]] + bv[dam[i]]) / 2
        else bv[id[i]] = h2 * (phen[i] - mean)
        printf "%d %.6f\n", id[i], bv[id[i]]
    }
}' data.tmp > my_bv.txt
