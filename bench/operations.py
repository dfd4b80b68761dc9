"""How the measured operations are called and ordered in tables."""

import re

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


def peers_text(versions):
    return ", ".join(f"{PEERS[name]} {version}" for name, version in versions.items())


def tables(cases, own_header, own_text):
    """Markdown of every section. cases: {case: {implementation: cost}}; a cell of a peer is its cost over ours."""
    lines = []
    for title, operations in SECTIONS:
        rows = [(name, case) for operation, name in operations for case in ordered(cases, operation)
                if "ulmaro" in cases[case]]
        if not rows:
            continue
        peers = [p for p in PEERS if any(p in cases[case] for _, case in rows)]
        lines += ["", f"### {title}", "",
                  "| Operation | " + " | ".join([own_header] + [PEERS[p] for p in peers]) + " |",
                  "|---|" + "---:|" * (1 + len(peers))]
        for name, case in rows:
            cost = cases[case]
            size = split(case)[1]
            cells = [name + (f", {size_text(size)}" if size else ""), own_text(case, cost["ulmaro"])]
            cells += [ratio_text(cost[p] / cost["ulmaro"]) if p in cost else "" for p in peers]
            lines.append("| " + " | ".join(cells) + " |")
    return lines
