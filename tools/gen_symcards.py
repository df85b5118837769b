#!/usr/bin/python3
"""Generate bin/database_symcards.dat, the space-group symmetry cards.

The operations of every setting come from the space-group table of gemmi
(Debian package python3-gemmi); this script only selects the settings, spells
their Hermann-Mauguin names the ways CIF files write them, orders the records
so that the first match of a shared spelling is the conventional setting, and
formats the operations.  It is run by hand when the table is regenerated:

    apt-get install -y python3-gemmi
    /usr/bin/python3 tools/gen_symcards.py            # writes bin/database_symcards.dat
    /usr/bin/python3 tools/gen_symcards.py OUT.dat    # writes elsewhere

Before writing, the script checks its own output: every spelling resolves (by
the first-match rule of the reader) to a record of the right group number, and
to the same operations gemmi derives from that spelling whenever gemmi can
parse it.  Any disagreement stops the script without writing.
"""

import os
import sys
from fractions import Fraction

import gemmi

DEN = 24  # gemmi stores translations (and rotations) scaled by 24

# Spellings longer than this can never match: the CIF reader keeps at most 19
# characters of the symbol.
MAX_SYMBOL = 19
# The reader uses a 200-character line buffer; a line must fit with its '\n'.
MAX_LINE = 198
# Room of one operation text in the structure record (29 characters + NUL).
MAX_OP = 29

ALLOWED_TRANSLATIONS = {Fraction(n, d) for n, d in
                        [(1, 2), (1, 4), (3, 4), (1, 3), (2, 3), (1, 6), (5, 6)]}

# Orthorhombic groups whose double glide plane is written 'e' since 2002;
# older tables and most database CIFs still use the letter it replaced.
E_GLIDE_GROUPS = {39, 41, 64, 67, 68}
# Position (1-based axis token) of the 'e' plane: perpendicular to the
# normal of the centred face.
E_GLIDE_POSITION = {'A': 1, 'B': 2, 'C': 3}

# Cubic groups with the -3 axis, whose pre-1983 symbols drop the bar
# ('F m 3 m'); in trigonal and hexagonal groups the bar is essential.
CUBIC_BAR_GROUPS = set(range(200, 207)) | set(range(221, 231))

ORTHO_AXES = {'': 'abc', 'ba-c': 'ba-c', 'cab': 'cab', '-cba': '-cba',
              'bca': 'bca', 'a-cb': 'a-cb'}


def crystal_system(number):
    for limit, name in [(2, 'triclinic'), (15, 'monoclinic'), (74, 'orthorhombic'),
                        (142, 'tetragonal'), (167, 'trigonal'), (194, 'hexagonal')]:
        if number <= limit:
            return name
    return 'cubic'


def ita_settings():
    """The settings of International Tables Table 4.3.2.1 as listed by gemmi.

    gemmi lists them by group number, the standard setting first, origin
    choice 1 before 2 and hexagonal before rhombohedral axes; a handful of
    non-standard cells appended after No. 230 are left out."""
    out = []
    for sg in gemmi.spacegroup_table():
        if out and sg.number < out[-1].number:
            break
        out.append(sg)
    return out


def ext_of(sg):
    return '' if sg.ext in ('\x00', '') else sg.ext


# ---------------------------------------------------------------- operations

def canonical_ops(group_ops):
    """(rotation, translation in 1/24) tuples with translations in [0, 1)."""
    ops = []
    for op in group_ops:
        rot = tuple(tuple(v // DEN for v in row) for row in op.rot)
        tran = tuple(t % DEN for t in op.tran)
        ops.append((rot, tran))
    return ops


def format_component(row, tran):
    text = ''
    for coef, var in zip(row, 'xyz'):
        if coef == 0:
            continue
        if coef not in (1, -1):
            raise ValueError('rotation coefficient %d' % coef)
        text += ('-' if coef < 0 else ('+' if text else '')) + var
    if tran:
        frac = Fraction(tran, DEN)
        if frac not in ALLOWED_TRANSLATIONS:
            raise ValueError('translation %s' % frac)
        text += '+%d/%d' % (frac.numerator, frac.denominator)
    return text


def format_op(op):
    rot, tran = op
    text = ','.join(format_component(rot[i], tran[i]) for i in range(3))
    if len(text) > MAX_OP:
        raise ValueError('operation %s longer than %d characters' % (text, MAX_OP))
    return text


# ----------------------------------------------------------------- spellings

def short_symbol(hm, number):
    """Short monoclinic symbol: 'P 1 21/c 1' -> 'P 21/c'."""
    tokens = hm.split(' ')
    if 3 <= number <= 15 and len(tokens) == 4:
        axes = [t for t in tokens[1:] if t != '1']
        if len(axes) == 1:
            return tokens[0] + ' ' + axes[0]
    return None


def e_glide_symbol(hm, number):
    """'C m c a' -> 'C m c e' for the groups with a double glide plane."""
    if number not in E_GLIDE_GROUPS:
        return None
    tokens = hm.split(' ')
    pos = E_GLIDE_POSITION.get(tokens[0])
    if pos is None or tokens[pos] not in ('a', 'b', 'c'):
        return None
    tokens[pos] = 'e'
    return ' '.join(tokens)


def old_cubic_symbol(hm, number):
    """'F m -3 m' -> 'F m 3 m'."""
    if number not in CUBIC_BAR_GROUPS:
        return None
    return ' '.join('3' if t == '-3' else t for t in hm.split(' '))


def underscore_symbol(spelling):
    """Screw axes written with an underscore, blanks removed: 'P 63/m m c' -> 'P6_3/mmc'."""
    out = []
    for t in spelling.split(' '):
        if len(t) >= 2 and t[0] in '2346' and t[1].isdigit() and int(t[1]) < int(t[0]):
            t = t[0] + '_' + t[1:]
        out.append(t)
    return ''.join(out)


def spellings(sg):
    """The names of one setting, most common first."""
    number, hm, ext = sg.number, sg.hm, ext_of(sg)
    short = short_symbol(hm, number)
    blank = [hm]
    for derived in (short, e_glide_symbol(hm, number), old_cubic_symbol(hm, number)):
        if derived:
            blank.append(derived)
    compact = [b.replace(' ', '') for b in blank]
    underscore = [underscore_symbol(short or hm)]

    names = []
    if ext in ('', '1', 'H'):
        # Without a suffix a symbol means the default setting.
        names += blank + compact + underscore
    if ext in ('1', '2'):
        icsd = ' S' if ext == '1' else ' Z'
        for b in blank:
            names += [b + ' :' + ext, b + ':' + ext, b + icsd]
        names += [c + ':' + ext for c in compact + underscore]
    elif ext in ('H', 'R'):
        for b in blank:
            names += [b + ' :' + ext, b + ':' + ext, b + ' ' + ext]
        names += [c + ':' + ext for c in compact + underscore]
    seen = []
    for n in names:
        if n not in seen and len(n) <= MAX_SYMBOL:
            seen.append(n)
    return seen


def describe(sg):
    number, ext, q = sg.number, ext_of(sg), sg.qualifier
    parts = [crystal_system(number)]
    if 3 <= number <= 15:
        if q:
            axis = q.lstrip('-')[0]
            parts.append('unique axis ' + axis)
            if len(q.lstrip('-')) > 1:
                parts.append('cell choice ' + q.lstrip('-')[1:]
                             + (' (axes reversed)' if q.startswith('-') else ''))
    elif 16 <= number <= 74:
        parts.append('axes ' + ORTHO_AXES.get(q, q))
    if ext in ('1', '2'):
        parts.append('origin choice ' + ext)
    elif ext == 'H':
        parts.append('hexagonal axes')
    elif ext == 'R':
        parts.append('rhombohedral axes')
    return ', '.join(parts)


# ------------------------------------------------------------------- records

HEADER = """\
ZEMU space-group symmetry cards.
Generated by tools/gen_symcards.py from the space-group table of gemmi {version}; do not edit by hand.
Settings: the 530 settings of International Tables Vol. A, Table 4.3.2.1 (all 230 groups).
Record layout after the start marker:
  line 1   '#', the space-group number and the setting's symbol with its suffix
  line 2   crystal system and setting
  line 3   Hall symbol and group order
  line 4   the Hermann-Mauguin spellings of the setting, each in single quotes
  line 5   the number N of operations
  N lines  the operations in x,y,z notation, translations reduced to [0,1)
Lookup takes the first record listing the symbol exactly (blanks included).
Records follow the group number; within a group the standard setting comes
first, origin choice 1 before origin choice 2, hexagonal before rhombohedral
axes.  A symbol without an origin or axes suffix therefore selects origin
choice 1 or hexagonal axes; origin choice 2 is named ':2', ' :2' or ' Z',
rhombohedral axes ':R', ' :R' or ' R'.
"""


def build_records():
    records = []
    for sg in ita_settings():
        ops = canonical_ops(sg.operations())
        if ops[0] != (((1, 0, 0), (0, 1, 0), (0, 0, 1)), (0, 0, 0)):
            raise ValueError('%s: identity is not the first operation' % sg.xhm())
        title = sg.hm + ((' :' + ext_of(sg)) if ext_of(sg) else '')
        records.append({
            'number': sg.number,
            'title': title,
            'describe': describe(sg),
            'hall': sg.hall.strip(),
            'names': spellings(sg),
            'ops': ops,
        })
    return records


def render(records):
    lines = HEADER.format(version=gemmi.__version__).splitlines()
    lines.append('DATA_START')
    for r in records:
        lines.append('')
        lines.append('# %d %s' % (r['number'], r['title']))
        lines.append(r['describe'])
        lines.append('Hall symbol %s, order %d' % (r['hall'], len(r['ops'])))
        lines.append(' '.join("'%s'" % n for n in r['names']))
        lines.append(str(len(r['ops'])))
        lines += [format_op(op) for op in r['ops']]
    for line in lines:
        if len(line) > MAX_LINE:
            raise ValueError('line longer than %d characters: %s' % (MAX_LINE, line))
    return '\n'.join(lines) + '\n'


# -------------------------------------------------------------- self-checks

def check(records):
    """Resolve every spelling as the reader does and compare with gemmi."""
    numbers = {r['number'] for r in records}
    if numbers != set(range(1, 231)):
        raise ValueError('group numbers missing: %s' % sorted(set(range(1, 231)) - numbers))
    first = {}
    for i, r in enumerate(records):
        for n in r['names']:
            if n in first and records[first[n]]['number'] != r['number']:
                raise ValueError("'%s' names groups %d and %d"
                                 % (n, records[first[n]]['number'], r['number']))
            first.setdefault(n, i)
    for name, i in first.items():
        try:
            sg = gemmi.find_spacegroup_by_name(name)
        except (ValueError, RuntimeError):
            sg = None
        if sg is None:
            continue
        if sorted(canonical_ops(sg.operations())) != sorted(records[i]['ops']):
            raise ValueError("'%s' selects %s but gemmi reads it as %s"
                             % (name, records[i]['title'], sg.xhm()))


def main(argv):
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    out = argv[1] if len(argv) > 1 else os.path.join(root, 'bin', 'database_symcards.dat')
    records = build_records()
    check(records)
    text = render(records)
    with open(out, 'w', newline='\n') as f:
        f.write(text)
    print('%s: %d records, %d groups' % (out, len(records),
                                          len({r['number'] for r in records})))
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv))
