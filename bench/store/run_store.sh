#!/bin/sh
# `kalvex list` and `kalvex show` beside the sqlite3 tool selecting the same
# columns: wall time and peak memory (/usr/bin/time -v), on a store of
# 10,000 mails (bodies of about 8 kB, two recipients and one small attachment
# each) and on the same store with 1 GB of attachments more (ten of 100 MB,
# on mail 5000, the one shown).
# Needs: sqlite3, python3, /usr/bin/time. Usage: bench/store/run_store.sh [build-dir]
set -eu
BUILD=${1:-build}
KALVEX=${KALVEX:-$(cd "$BUILD" && pwd)/apps/kalvex/kalvex}   # KALVEX=... compares another build
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
DB=$WORK/common/Common04/kalvex.db
printf '[SOFTWARE\\QMB GmbH\\InstallDir]\nBench=%s/data\n\n[SOFTWARE\\QMB GmbH\\Common]\nCommon=%s/common\n' \
    "$WORK" "$WORK" > "$WORK/registry.ini"
export KALVEX_REGISTRY="$WORK/registry.ini"
kx() { "$KALVEX" --install-key Bench "$@"; }
kx list > /dev/null   # makes the store with the module's schema

python3 - "$DB" <<'PY'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
body = "Sehr geehrte Damen und Herren, " * 130
rtf = "{\\rtf1\\ansi " + body + "}"
db.executemany("insert into KVXGesendeteMails (ID, Betreff, Datum, MailStatus, Status, InhaltRTF, Inhalt, GesendetDurch, SeperatSenden)"
               " values (?, ?, ?, ?, ?, ?, ?, 'Kalvex', 0)",
               ((i, "Rundschreiben %d" % i, 2460000.5 + i / 100.0, 1 if i % 10 == 0 else 2,
                 "bearbeiten" if i % 10 == 0 else "gesendet", rtf, body) for i in range(1, 10001)))
db.executemany("insert into KVXEmpfaenger (MailID, Adresse, GanzerName, Firma, AdressDB_ID, EmpfType) values (?, ?, ?, 'Firma', 0, ?)",
               ((i, "empf%d.%d@example.org" % (i, k), "Empfänger %d" % k, k) for i in range(1, 10001) for k in range(2)))
db.executemany("insert into KVXAnhang (MailID, Pfad, Dateigroesse, Objekt) values (?, ?, 2000, randomblob(2000))",
               ((i, "/home/user/Briefe/brief%d.pdf" % i) for i in range(1, 10001)))
db.commit()
PY

LIST_SQL="select ID, Betreff, Datum, MailStatus, Status, GesendetDurch, SeperatSenden from KVXGesendeteMails;
select * from KVXEmpfaenger;
select ID, MailID, Pfad, Dateigroesse, LENGTH(Objekt) from KVXAnhang;"
SHOW_SQL="select * from KVXGesendeteMails where ID = 5000;
select * from KVXEmpfaenger where MailID = 5000;
select ID, MailID, Pfad, Dateigroesse, LENGTH(Objekt) from KVXAnhang where MailID = 5000;"

# Wall time in seconds and peak memory in MB of one command, its output dropped.
measure() {
    /usr/bin/time -v "$@" > /dev/null 2> "$WORK/time.txt" || { cat "$WORK/time.txt" >&2; exit 1; }
    python3 - "$WORK/time.txt" <<'PY'
import re, sys
t = open(sys.argv[1]).read()
w = re.search(r"Elapsed \(wall clock\) time.*: (?:(\d+):)?(\d+):([\d.]+)", t)
secs = (int(w.group(1) or 0) * 60 + int(w.group(2))) * 60 + float(w.group(3)) if w.group(1) else int(w.group(2)) * 60 + float(w.group(3))
rss = int(re.search(r"Maximum resident set size \(kbytes\): (\d+)", t).group(1)) / 1024
print("%.3f s, %.0f MB" % (secs, rss))
PY
}

row() {
    k=$(measure "$KALVEX" --install-key Bench $2) && s=$(measure sqlite3 "$DB" "$3") || exit 1
    echo "| $1 | $k | $s |"
}

table() {
    echo "| case ($1) | kalvex | sqlite3 |"
    echo "|---|---|---|"
    kx list > /dev/null; sqlite3 "$DB" "$LIST_SQL" > /dev/null   # a warm page cache for both
    row "list" list "$LIST_SQL"
    row "show 5000" "show 5000" "$SHOW_SQL"
}

table "10,000 mails, $(du -m "$DB" | cut -f1) MB"
python3 - "$DB" <<'PY'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
for k in range(10):
    db.execute("insert into KVXAnhang (MailID, Pfad, Dateigroesse, Objekt) values (5000, ?, ?, zeroblob(?))",
               ("/home/user/Briefe/gross%d.bin" % k, 100 * 1024 * 1024, 100 * 1024 * 1024))
db.commit()
PY
echo
table "with 1 GB of attachments, $(du -m "$DB" | cut -f1) MB"
