#!/usr/bin/python3
"""Compares zemu-import with pymatgen on a folder of CIF files (a check run by hand,
not by the tests): for every file, the structure zemu-import writes (-o) and the
one pymatgen reads from the original must have the same cell and the same atoms
per cell (element, occupancy, position within 0.02 A).

usage: tools/check_import.py ZEMU_IMPORT DIR [DIR...]   (prints one line per file and a tally)
"""
import os
import subprocess
import sys
import tempfile
import warnings

import numpy as np

warnings.filterwarnings("ignore")
from pymatgen.io.cif import CifParser  # noqa: E402

TOL = 0.02  # Angstrom


def atoms(structure):
    """element -> list of (fractional coordinates, occupancy)"""
    out = {}
    for site in structure:
        for sp, occ in site.species.items():
            out.setdefault(sp.symbol, []).append((site.frac_coords % 1.0, occ))
    return out


def compare(a, b):
    la, lb = a.lattice, b.lattice
    if not np.allclose(la.abc, lb.abc, rtol=1e-4) or not np.allclose(la.angles, lb.angles, atol=1e-3):
        return "cell %s vs %s" % (la.parameters, lb.parameters)
    aa, ab = atoms(a), atoms(b)
    if sorted(aa) != sorted(ab):
        return "elements %s vs %s" % (sorted(aa), sorted(ab))
    for el in aa:
        if len(aa[el]) != len(ab[el]):
            return "%s: %d vs %d atoms per cell" % (el, len(aa[el]), len(ab[el]))
        fa = np.array([p for p, _ in aa[el]])
        fb = np.array([p for p, _ in ab[el]])
        d = la.get_all_distances(fa, fb)
        used = set()
        for i in range(len(fa)):
            j = int(np.argmin(d[i]))
            if d[i][j] > TOL or j in used:
                return "%s atom %d has no partner within %.2f A" % (el, i, TOL)
            if abs(aa[el][i][1] - ab[el][j][1]) > 0.01:
                return "%s atom %d occupancy %.3f vs %.3f" % (el, i, aa[el][i][1], ab[el][j][1])
            used.add(j)
    return None


def main():
    exe, dirs = sys.argv[1], sys.argv[2:]
    files = sorted(os.path.join(r, f) for d in dirs for r, _, fs in os.walk(d) for f in fs
                   if f.endswith(".cif") or f.endswith(".mcif"))
    tally = {"right": 0, "refused": 0, "wrong": 0, "pymatgen fails": 0}
    with tempfile.TemporaryDirectory() as tmp:
        for path in files:
            out = os.path.join(tmp, "out.cif")
            if os.path.exists(out):
                os.remove(out)
            run = subprocess.run([exe, path, "-o", out], capture_output=True, text=True, timeout=600)
            try:
                ref = CifParser(path).get_structures(primitive=False)[0]
            except Exception as e:  # pymatgen cannot read the original
                ref = None
                ref_error = str(e).splitlines()[0] if str(e) else type(e).__name__
            if run.returncode != 0:
                reason = run.stderr.strip().splitlines()[-1] if run.stderr.strip() else "?"
                if ref is not None and ("--oxi" in reason):
                    # Refused for want of oxidation states: check the structure reading with states by hand.
                    oxi = ",".join("%s=0" % el.symbol for el in ref.composition.elements)
                    rerun = subprocess.run([exe, path, "-o", out, "--oxi", oxi], capture_output=True, text=True)
                    if rerun.returncode == 0:
                        why = compare(ref, CifParser(out).get_structures(primitive=False)[0])
                        reason += " [structure with --oxi: %s]" % ("right" if why is None else "WRONG " + why)
                tally["refused"] += 1
                print("REFUSED %s: %s" % (path, reason))
                continue
            if ref is None:
                tally["pymatgen fails"] += 1
                print("PYMATGEN-FAILS %s: %s" % (path, ref_error))
                continue
            mine = CifParser(out).get_structures(primitive=False)[0]
            why = compare(ref, mine)
            if why:
                tally["wrong"] += 1
                print("WRONG %s: %s" % (path, why))
            else:
                tally["right"] += 1
                print("RIGHT %s" % path)
    print(" ".join("%s %d" % kv for kv in tally.items()), "of", len(files))


if __name__ == "__main__":
    main()
