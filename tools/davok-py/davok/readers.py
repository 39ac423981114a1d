"""Readers of Davok's result files into pandas DataFrames.

Every reader takes the path of one result file, either of one replicate ("p1_data_003.txt") or
an attach_rep file holding all replicates ("p1_data.txt"), and returns a DataFrame with a `rep`
column: the replicate number from the file name, or from the "Replicate" heading lines.
"""

import io
import os
import re

import numpy as np
import pandas as pd

_REP_HEADING = re.compile(r"~+ Replicate +(\d+) ~+")
_REP_SUFFIX = re.compile(r"_(\d{3,})\.txt$")


def replicates(path):
    """The file's lines split by replicate: a list of (rep, lines).

    An attach_rep file is split at its heading lines; any other file is one replicate, numbered
    by its "_NNN.txt" suffix (0 when the name has none, as for stat_rep.txt)."""
    with open(path) as f:
        text = f.read().splitlines()
    parts, rep, cur = [], None, []
    for line in text:
        m = _REP_HEADING.fullmatch(line)
        if m:
            if rep is not None:
                parts.append((rep, cur))
            rep, cur = int(m.group(1)), []
        else:
            cur.append(line)
    if rep is None:
        m = _REP_SUFFIX.search(os.path.basename(path))
        return [(int(m.group(1)) if m else 0, cur)]
    parts.append((rep, cur))
    return parts


def _frame(lines, **kw):
    if not lines:
        return pd.DataFrame()
    return pd.read_csv(io.StringIO("\n".join(lines)), sep=r"\s+", **kw)


def _with_rep(frames):
    """Concatenates (rep, frame) pairs into one frame whose first column is `rep`."""
    out = [f.assign(rep=rep) for rep, f in frames if len(f)]
    if not out:
        return pd.DataFrame(columns=["rep"])
    t = pd.concat(out, ignore_index=True)
    return t[["rep"] + [c for c in t.columns if c != "rep"]]


def _per_replicate(path, parse):
    return _with_rep((rep, parse(lines)) for rep, lines in replicates(path))


def _is_rule(line):
    return line[:1] in ("-", "~") and line.strip("-~ ") == ""


def _title(line):
    """The title of a titled rule such as "-------- Inbreeding --------", else None."""
    if line[:1] not in ("-", "~"):
        return None
    t = line.strip("-~ ")
    return t or None


def _blocks(lines):
    """Splits a report into its titled tables: a list of (title, lines under the title)."""
    out, title, cur = [], None, []
    for line in lines:
        t = _title(line)
        if t is not None:
            if title is not None:
                out.append((title, cur))
            title, cur = t, []
        elif title is not None:
            cur.append(line)
    if title is not None:
        out.append((title, cur))
    return out


# ---- individuals ---------------------------------------------------------------------------

def read_data(path):
    """The data file: one row per individual; `Phen` is NaN without a record, `TBV` is added."""
    def parse(lines):
        d = _frame(lines, na_values="---", dtype={"Sex": str})
        if len(d):
            d["TBV"] = d["Polygene"] + d["QTL"]
        return d
    return _per_replicate(path, parse)


def read_pedigree(path):
    """The joint pedigree of all populations: Progeny, Sire, Dam (pedigree numbers) and Sex."""
    return _per_replicate(path, lambda lines: _frame(lines, dtype={"Sex": str}))


def read_crossover(path):
    """Crossovers: one row per crossover with the individual, the parent (S or D), Chr and Pos."""
    def parse(lines):
        rows, ind = [], None
        for s in lines:
            f = s.split()
            if len(f) == 2 and f[0] == "I":
                ind = int(f[1])
            elif re.match(r"[SD] C\d", s):
                rows += [(ind, f[0], int(c), float(p))
                         for c, ps in re.findall(r"C(\d+)\{([^}]*)\}", s) for p in ps.split()]
        return pd.DataFrame(rows, columns=["ID", "Parent", "Chr", "Pos"])
    return _per_replicate(path, parse)


# ---- genotypes -----------------------------------------------------------------------------

def read_genotypes(path, nloci=None):
    """Genotypes, one row per individual: `ID` then the loci in map order.

    Allele-pair files give two columns per locus, "<k>_p" (paternal) and "<k>_m" (maternal), with
    k counting loci from 1; code files (/snp_code, /seq) one column "<k>" with the code digit.
    Binary files have no header and need nloci, the number of loci in the file."""
    if is_binary_genotypes(path):
        if nloci is None:
            raise ValueError(f"{path}: a binary genotype file needs the number of loci")
        return _read_binary_genotypes(path, nloci)
    return _per_replicate(path, _parse_text_genotypes)


def is_binary_genotypes(path):
    """True for a /binary genotype file: text ones open with their header or a replicate heading."""
    with open(path, "rb") as f:
        return f.read(16) not in (b"ID      Genotype", b"~" * 16)


def _parse_text_genotypes(lines):
    if len(lines) < 2:
        return pd.DataFrame(columns=["ID"])
    body = lines[1:]
    if lines[0].split(None, 1)[1].startswith("Genotypes (0 ="):
        ids = [int(s.split(None, 1)[0]) for s in body]
        codes = np.array([np.frombuffer(s.split(None, 1)[1].encode(), np.uint8) - 48 for s in body])
        cols = [str(k + 1) for k in range(codes.shape[1])]
    else:
        g = np.loadtxt(body, dtype=np.int32, ndmin=2)
        ids, codes = g[:, 0], g[:, 1:]
        cols = [f"{k // 2 + 1}_{'pm'[k % 2]}" for k in range(codes.shape[1])]
    t = pd.DataFrame(codes, columns=cols)
    t.insert(0, "ID", ids)
    return t


def _read_binary_genotypes(path, nloci):
    rec = np.dtype([("id", "=i4"), ("allele", "=u2", (nloci, 2))])
    g = np.fromfile(path, dtype=rec)
    t = pd.DataFrame(g["allele"].reshape(len(g), 2 * nloci),
                     columns=[f"{k // 2 + 1}_{'pm'[k % 2]}" for k in range(2 * nloci)])
    t.insert(0, "ID", g["id"])
    m = _REP_SUFFIX.search(os.path.basename(path))
    t.insert(0, "rep", int(m.group(1)) if m else 0)
    return t


# ---- frequencies and LD --------------------------------------------------------------------

def read_freq(path):
    """Allele frequencies in long form: ID, Gen, Chr, (Var for QTL), Allele, Freq.

    The minor allele frequency table of /mafbin is left out; see read_maf."""
    def parse(lines):
        rows = []
        for s in lines:
            if s[:1] not in ("M", "Q"):
                continue
            f = s.split()
            head = [f[0], int(f[1]), int(f[2])] + ([float(f[3])] if s[0] == "Q" else [])
            rows += [head + [int(a), float(p)] for a, p in re.findall(r"(\d+):([\d.]+)", s)]
        cols = ["ID", "Gen", "Chr"] + (["Var"] if rows and len(rows[0]) == 6 else []) + ["Allele", "Freq"]
        return pd.DataFrame(rows, columns=cols)
    return _per_replicate(path, parse)


def read_maf(path):
    """The /mafbin table of a frequency file: Class (its label), Gen and the number of loci."""
    def parse(lines):
        rows = []
        for title, b in _blocks(lines):
            if title != "Distribution of minor allele frequency" or not b:
                continue
            gens = [int(g) for g in b[0].split()[1:]]
            for s in b[1:]:
                if s.strip():
                    rows += [(s[:16].strip(), g, int(n)) for g, n in zip(gens, re.findall(r"(\d+)\(", s[16:]))]
        return pd.DataFrame(rows, columns=["Class", "Gen", "Loci"])
    return _per_replicate(path, parse)


LD_MEASURES = {"No. marker pairs": None, "Mean D'(SD)": "D'", "Mean R2(SD)": "R2", "Mean X2'(SD)": "X2'"}


def read_ld_decay(path):
    """LD by distance class: one row per generation and class, with Pairs and, for D', R2 and
    X2', the class mean and its SD ("R2", "R2_SD", ...). `Class` keeps the file's label and
    `Lower` is the class's lower bound in cM."""
    def parse(lines):
        tables, name = {}, None
        for s in lines:
            if s.strip() in LD_MEASURES:
                name = s.strip()
                tables[name] = []
            elif name and s.strip() and not _is_rule(s):
                tables[name].append(s)
        if "No. marker pairs" not in tables:
            return pd.DataFrame()
        rows = {}
        for name, b in tables.items():
            gens = [int(g) for g in b[0].split()[1:]]
            for s in b[1:]:
                label, cells = s[:9].strip(), s[9:].split()
                for g, cell in zip(gens, cells):
                    r = rows.setdefault((g, label), {"Gen": g, "Class": label})
                    if LD_MEASURES[name] is None:
                        r["Pairs"] = int(cell)
                    else:
                        m, sd = re.fullmatch(r"([-\d.]+)\(([-\d.]+)\)", cell).groups()
                        r[LD_MEASURES[name]], r[LD_MEASURES[name] + "_SD"] = float(m), float(sd)
        t = pd.DataFrame(rows.values())
        t["Lower"] = [float(re.match(r"\[([\d.]*)", c).group(1) or 0) for c in t["Class"]]
        return t
    return _per_replicate(path, parse)


# ---- statistics ----------------------------------------------------------------------------

def _stat_columns(title, header):
    """Unique column names "<table>:<column>" for one table of a statistics file."""
    names = header.split()[1:]
    if title == "Inbreeding":
        names = ["Inbred_No", "Inbred_Mean", "Inbred_SD", "Mean", "SD"]
    elif title == "Structure":
        names = ["Progeny", "Male%", "Male", "Male_Selected", "Female", "Female_Selected",
                 "Sire", "Sire_Culled", "Dam", "Dam_Culled"]
    return [f"{title}:{n}" for n in names]


def _parse_stat(lines):
    merged = None
    for title, b in _blocks(lines):
        k = next((i for i, s in enumerate(b) if s.startswith("Gen.")), None)
        if k is None:
            continue
        # Generation rows only: not "Overall", nor a note such as "QTL variance is zero."
        rows = [s.split() for s in b[k + 1:] if s[:1].isdigit()]
        if not rows:
            continue
        t = pd.DataFrame([[float(v) for v in r[1:]] for r in rows], columns=_stat_columns(title, b[k]))
        t.insert(0, "Gen", [int(r[0]) for r in rows])
        merged = t if merged is None else merged.merge(t, on="Gen", how="outer")
    return merged if merged is not None else pd.DataFrame()


def read_stat(path):
    """The statistics file as one row per replicate and generation, a column "<table>:<column>"
    per value: "Inbreeding:Mean" (mean F of all), "Phenotype:Mean", "Polygenes:SD", "EBV:Mean",
    "accuracy of EBV:r(EBV,TBV)_Sire", "Structure:Progeny", ... The "Overall" rows are left out."""
    return _per_replicate(path, _parse_stat)


_POP_HEADING = re.compile(r'~+ Population "(.*)" ~+')


def population_heading(line):
    """The population name of a heading line of stat_rep.txt, else None."""
    m = _POP_HEADING.fullmatch(line.rstrip("\n"))
    return m.group(1) if m else None


def read_stat_rep(path):
    """stat_rep.txt in long form: Pop (empty for the last historical generation), Section, LDGen
    (the generation of an LD table), Row (a generation, an LD class or a label), Mean, SE, SD and
    SD_SE (the last two NaN for one-value rows)."""
    rows, pop, sec, ldgen = [], "", "", None
    for s in replicates(path)[0][1]:
        if s.startswith("~"):
            name = population_heading(s)
            pop, sec = (name, "") if name is not None else ("", s.strip("~ "))
        elif s.startswith("-"):
            sec, ldgen = s.strip("- "), None
        elif s.startswith("Generation "):
            ldgen = int(s.split()[1])
        elif sec == "Last historical generation" and len(s) > 32 and s[:1] != " ":
            rows.append([pop, sec, None, s[:32].strip()] + [float(v) for v in s[32:].split()] + [np.nan] * 2)
        elif s[:1].isdigit() or s[:1] == "[":
            key, *v = s.split()
            v = [np.nan if u == "----" else float(u) for u in v]
            rows.append([pop, sec, ldgen, key] + v + [np.nan] * (4 - len(v)))
    t = pd.DataFrame(rows, columns=["Pop", "Section", "LDGen", "Row", "Mean", "SE", "SD", "SD_SE"])
    t["LDGen"] = t["LDGen"].astype("Int64")
    return t


# ---- historical population and genome ------------------------------------------------------

def read_hp_homo(path):
    """Mean homozygosity of the monitored historical generations: Gen, Homo."""
    return _per_replicate(path, lambda lines: _frame(lines[1:], header=None, names=["Gen", "Homo"]))


def read_hp_stat(path):
    """The value lines of hp_stat in long form: Label, Column ("Overall", "Chr1", ..., "male",
    "female", "" for a single value, "var" for the variance after a mean) and Value."""
    def parse(lines):
        rows, heads = [], []
        for s in lines:
            f = s.split()
            if f[:1] == ["Overall"] or f == ["male", "female"]:
                heads = f
            elif s[28:30] == ": ":
                vals = [v.strip("()").replace(",", "") for v in s[30:].replace("per 1 cM", "").split()]
                names = heads if len(vals) == len(heads) else ["", "var"][:len(vals)]
                rows += [(s[:28].strip(), n, float(v)) for n, v in zip(names, vals)]
        return pd.DataFrame(rows, columns=["Label", "Column", "Value"])
    return _per_replicate(path, parse)


def read_hp_size(path):
    """The historical size plan at the end of hp_stat: Gen, Size, Males, Females, Given (True for
    the starred generations of hg_size)."""
    def parse(lines):
        k = lines.index("-" * 42)
        rows = [s for s in lines[k + 1:] if s.strip()]
        t = _frame([s.replace(",", "").lstrip("* ") for s in rows], header=None,
                   names=["Gen", "Size", "Males", "Females"])
        t["Given"] = [s.startswith("*") for s in rows]
        return t
    return _per_replicate(path, parse)


def read_map(path):
    """A linkage map (lm_mrk, lm_qtl, lm_mrk_qtl): ID, Chr, Position (or Input_Pos, Male_Map,
    Female_Map when the map is sex-specific)."""
    return _per_replicate(path, _frame)


def read_effects(path):
    """QTL allele effects: ID, Chr, Allele (its label) and Effect, one row per allele."""
    def parse(lines):
        rows = [(s.split()[0], int(s.split()[1]), int(a), float(e))
                for s in lines[1:] if s.strip() for a, e in re.findall(r"(\d+):\s*(\S+)", s)]
        return pd.DataFrame(rows, columns=["ID", "Chr", "Allele", "Effect"])
    return _per_replicate(path, parse)
