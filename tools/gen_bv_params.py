#!/usr/bin/env python3
"""Regenerate bin/database_binary.dat, the bond-valence parameter file.

Input:  data/bv_params.csv, published bond-valence parameters of the
        bond-softness-sensitive kind (one row per cation-anion pair) with the
        columns cation, cation_ox, anion, anion_ox, r0, alpha, r_min, d0.
Output: bin/database_binary.dat, one line per pair, words separated by one
        blank:

    cation cation_ox anion anion_ox R0 b N_c cutoff

Where every number comes from:
  1-4  cation, cation_ox, anion, anion_ox: copied from the row.
  5    R0 (Angstrom): column r0, copied as written.
  6    b (Angstrom): 1 / |alpha| (alpha is the softness parameter in 1/Angstrom).
  7    N_c, coordination number: from r_min = R0 - b ln(s_min) with
       s_min = cation_ox / N_c, so N_c = cation_ox / exp((R0 - r_min) / b).
  8    cut-off (Angstrom): the distance at which one bond contributes 1e-4
       valence units, exp((R0 - d) / b) = 1e-4, so d = R0 + b ln(10^4).
Column d0 (bond-breaking energy) is not used.

A few rows of the table carry a negative alpha together with an r_min mirrored
about R0 (r_min' = 2 R0 - r_min): a sign flipped in both. Bond valence must fall
with distance, so b is taken as 1 / |alpha|. N_c is computed from the signed
values, since (R0 - r_min) / (1 / alpha) is unchanged by flipping both signs; it
then equals the N_c of the mirrored row with positive b.

The file starts with comment lines of fewer than 8 words: the reader splits
lines at blanks and skips every line with fewer than 8 words.

Run from anywhere, standard library only:  python3 tools/gen_bv_params.py
"""

import csv
import math
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.join(HERE, "..", "data", "bv_params.csv")
TARGET = os.path.join(HERE, os.pardir, "bin", "database_binary.dat")

# Bond valence at the cut-off distance, valence units.
CUTOFF_VALENCE = 1e-4

# Each line must stay below 8 blank-separated words.
HEADER = [
    "# Bond-valence parameters per cation-anion pair",
    "# Columns 1-4: cation ox anion ox",
    "# Column 5: R0 (Angstrom)",
    "# Column 6: b = 1/alpha (Angstrom)",
    "# Column 7: coordination number N_c",
    "# Column 8: cut-off (Angstrom)",
    "# Made by tools/gen_bv_params.py",
]


def derive(row):
    """Returns the eight output words for one table row."""
    cation, anion = row["cation"].strip(), row["anion"].strip()
    cation_ox, anion_ox = int(row["cation_ox"]), int(row["anion_ox"])
    r0_text = row["r0"].strip()
    r0 = float(r0_text)
    alpha = float(row["alpha"])
    r_min = float(row["r_min"])
    if alpha == 0.0 or cation_ox <= 0 or anion_ox >= 0:
        raise ValueError("unusable row: %r" % (row,))
    b = 1.0 / abs(alpha)
    n_c = cation_ox / math.exp((r0 - r_min) * alpha)
    cutoff = r0 + b * math.log(1.0 / CUTOFF_VALENCE)
    return [cation, str(cation_ox), anion, str(anion_ox), r0_text,
            "%.6f" % b, "%.3f" % n_c, "%.4f" % cutoff]


def main():
    with open(SOURCE, newline="") as f:
        rows = list(csv.DictReader(f))
    seen = set()
    lines = list(HEADER)
    for row in rows:
        words = derive(row)
        key = tuple(words[:4])
        if key in seen:  # the reader takes the first match; keep the file unambiguous
            raise ValueError("duplicate pair %s" % (key,))
        seen.add(key)
        lines.append(" ".join(words))
    for line in HEADER:
        assert len(line.split()) < 8, line
    os.makedirs(os.path.dirname(TARGET), exist_ok=True)
    with open(TARGET, "w", newline="\n") as f:
        f.write("\n".join(lines) + "\n")
    print("%d pairs written to %s" % (len(rows), os.path.normpath(TARGET)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
