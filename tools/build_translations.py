#!/usr/bin/python3
"""Builds the translation database DllsLang.db3 (tables Departments, Labels,
De_La) from the reviewable source src/config/translations.tsv."""
import sqlite3
import sys


def unescape(text):
    out, i = [], 0
    while i < len(text):
        if text[i] == "\\" and i + 1 < len(text):
            out.append({"n": "\n", "t": "\t", "\\": "\\"}.get(text[i + 1], text[i + 1]))
            i += 2
        else:
            out.append(text[i])
            i += 1
    return "".join(out)


def main(source, target):
    rows = []
    for line in open(source, encoding="utf-8"):
        line = line.rstrip("\n")
        if not line or line.startswith("#"):
            continue
        ident, de, en = line.split("\t")
        rows.append((int(ident), unescape(de), unescape(en)))
    db = sqlite3.connect(target + ".tmp")
    db.executescript("""
        DROP TABLE IF EXISTS Departments; DROP TABLE IF EXISTS Labels; DROP TABLE IF EXISTS De_La;
        CREATE TABLE Departments (ID INTEGER PRIMARY KEY, DeName NVARCHAR(255));
        CREATE TABLE Labels (ID INTEGER PRIMARY KEY, DE TEXT, EN TEXT);
        CREATE TABLE De_La (Department_ID INTEGER, Label_ID INTEGER, Cntrl_ID INTEGER);
    """)
    db.execute("INSERT INTO Departments (ID, DeName) VALUES (1, 'Kalvex')")
    for label_id, (ident, de, en) in enumerate(rows, start=1):
        db.execute("INSERT INTO Labels (ID, DE, EN) VALUES (?, ?, ?)", (label_id, de, en))
        db.execute("INSERT INTO De_La (Department_ID, Label_ID, Cntrl_ID) VALUES (1, ?, ?)", (label_id, ident))
    db.commit()
    db.close()
    import os
    os.replace(target + ".tmp", target)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
