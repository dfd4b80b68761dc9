"""How the measured operations are called and ordered in tables."""

import re
import sys

SECTIONS = [
    ("SM2, recommended curve", [
        ("sm2-prepare-group", "prepare the group"),
        ("sm2-key-pair", "key pair"),
        ("sm2-public-key", "public key of a scalar"),
        ("sm2-sign", "sign"),
        ("sm2-verify", "verify"),
        ("sm2-encrypt", "encrypt"),
        ("sm2-decrypt", "decrypt"),
    ]),
    ("SM2, custom curve (brainpoolP256r1)", [
        ("sm2-custom-prepare-group", "prepare the group"),
        ("sm2-custom-key-pair", "key pair"),
        ("sm2-custom-sign", "sign"),
        ("sm2-custom-verify", "verify"),
    ]),
    ("SM3", [("sm3", "hash, one call")]),
    ("Key derivation", [("kdf", "64-byte secret")]),
    ("SM4", [
        ("sm4-ecb-encrypt", "ECB encryption"),
        ("sm4-ecb-decrypt", "ECB decryption"),
        ("sm4-cbc-encrypt", "CBC encryption"),
        ("sm4-cbc-decrypt", "CBC decryption"),
    ]),
]

# In the order of the columns.
PEERS = {"openssl": "OpenSSL", "gcrypt": "libgcrypt", "botan": "Botan", "openssl-p256": "OpenSSL ECDSA P-256"}

# The year in which the series began that a version belongs to: later releases of a series mend defects.
SERIES = {
    "openssl": {"3.0": 2021, "3.1": 2023, "3.2": 2023, "3.3": 2024, "3.4": 2024, "3.5": 2025},
    "gcrypt": {"1.10": 2022, "1.11": 2024, "1.12": 2026},
    "botan": {"2.19": 2022, "3.14": 2026},
}

# Where SM4 reads no memory at an address that depends on the key, as memcheck sees it. Of others nothing is known here.
CONSTANT_TIME = {
    ("openssl", "3.0"): "OpenSSL 3.0 nowhere",
    ("gcrypt", "1.10"): "libgcrypt 1.10 in key set-up and CBC decryption only",
    ("botan", "2.19"): "Botan 2.19 nowhere",
}

NOTE_ON_PEERS = (
    "The public key of a scalar is compared with the peers' key generation. On the custom curve they work on the "
    "recommended one, with code that serves any curve. The column ECDSA P-256 is a yardstick: another curve of the "
    "same size, in hand-written assembly.")


def bytes_of(size):
    number, unit = re.fullmatch(r"(\d+)(B|KiB|MiB)", size).groups()
    return int(number) << {"B": 0, "KiB": 10, "MiB": 20}[unit]


def split(case):
    """'sm3/16KiB' is ('sm3', '16KiB'); without a size the second is None."""
    operation, _, size = case.rpartition("/")
    return (operation, size) if re.match(r"\d", size) and operation else (case, None)


def ordered(cases, operation):
    """The cases of one operation, by size."""
    return sorted((case for case in cases if split(case)[0] == operation), key=place)


def place(case):
    """Key that sorts cases of any kind as the tables do; what they do not have comes last."""
    order = [operation for _, operations in SECTIONS for operation, _ in operations]
    operation, size = split(case)
    return (order.index(operation) if operation in order else len(order), operation, bytes_of(size) if size else 0)


def size_text(size):
    return re.sub(r"(\d+)", r"\1 ", size)


def ratio_text(ratio):
    return f"{ratio:.2f}" if ratio < 10 else f"{ratio:.1f}" if ratio < 100 else f"{ratio:.0f}"


def series(version):
    return ".".join(version.split(".")[:2])


def peer_text(name, versions):
    """'OpenSSL 3.0.19 (2021)'; a yardstick of the same library has no version of its own."""
    if name not in versions:
        return PEERS[name]
    year = SERIES[name].get(series(versions[name]))
    if year is None:
        print(f"the year of {name} {series(versions[name])} is missing in bench/operations.py", file=sys.stderr)
    return f"{PEERS[name]} {versions[name]}" + (f" ({year})" if year else "")


def peers_text(versions):
    return ", ".join(peer_text(name, versions) for name in PEERS if name in versions)


def constant_time_text(versions):
    """What is known of the peers that were measured."""
    known = [CONSTANT_TIME.get((name, series(version)), f"{PEERS[name]} {series(version)} not examined")
             for name, version in versions.items()]
    return ("SM4 in constant time, as memcheck sees it on x86-64 with AES instructions: " + ", ".join(known) +
            ". Ours: [security.md](../security.md). The peers' SM2 was not examined.")


def tables(cases, versions, own_header, own_text, remark=lambda case: ""):
    """Markdown of every section. cases: {case: {implementation: cost}}; a cell of a peer is its cost over ours."""
    lines = []
    for title, operations in SECTIONS:
        rows = [(name, case) for operation, name in operations for case in ordered(cases, operation)
                if "ulmaro" in cases[case]]
        if not rows:
            continue
        peers = [p for p in PEERS if any(p in cases[case] for _, case in rows)]
        lines += ["", f"### {title}", "",
                  "| Operation | " + " | ".join([own_header] + [peer_text(p, versions) for p in peers]) + " |",
                  "|---|" + "---:|" * (1 + len(peers))]
        for name, case in rows:
            cost = cases[case]
            size = split(case)[1]
            cells = [name + (f", {size_text(size)}" if size else "") + remark(case), own_text(case, cost["ulmaro"])]
            cells += [ratio_text(cost[p] / cost["ulmaro"]) if p in cost else "" for p in peers]
            lines.append("| " + " | ".join(cells) + " |")
    return lines
