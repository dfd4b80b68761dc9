"""The Python module over a built library, against OpenSSL's command line. ULMARO_ALGRITHM_LIBRARY names the library."""

import array
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import ulmaro_algrithm as ua

D = bytes.fromhex("3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8")
MESSAGES = [bytes((7 * i + 3) % 256 for i in range(size)) for size in (0, 1, 15, 16, 17, 55, 56, 64, 119, 1000)]
SM2_OID = bytes.fromhex("06082a811ccf5501822d")


def sec1(keys: ua.KeyPair) -> bytes:
    """ECPrivateKey, as openssl reads it."""
    point = b"\x00\x04" + keys.public
    body = b"\x02\x01\x01" + b"\x04\x20" + keys.private + b"\xa0" + bytes([len(SM2_OID)]) + SM2_OID
    body += b"\xa1" + bytes([len(point) + 2]) + b"\x03" + bytes([len(point)]) + point
    return b"\x30" + bytes([len(body)]) + body


class WithOpenssl(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)

    def file(self, name: str, content: bytes) -> str:
        path = os.path.join(self.folder, name)
        with open(path, "wb") as out:
            out.write(content)
        return path

    def openssl(self, *arguments: str, stdin: bytes = b"") -> bytes:
        done = subprocess.run(["openssl", *arguments], input=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def key_file(self, keys: ua.KeyPair) -> str:
        return self.file("key", self.openssl("pkey", "-inform", "DER", stdin=sec1(keys)))


class HashAndCipher(WithOpenssl):
    def test_digests_and_streams(self) -> None:
        for message in MESSAGES:
            expected = self.openssl("dgst", "-sm3", "-r", stdin=message)[:64].decode()
            self.assertEqual(ua.sm3(message).hex(), expected)
            stream = ua.Sm3(message[:9])
            fork = stream.copy()
            self.assertEqual(stream.digest(), ua.sm3(message[:9]), "digest() leaves the stream alone")
            stream.update(memoryview(message)[9:])
            self.assertEqual(stream.hexdigest(), expected)
            self.assertEqual(fork.digest(), ua.sm3(message[:9]))

    def test_digests_beyond_the_count_of_the_library(self) -> None:
        stream = ua.Sm3(bytes((1 << 29) - 1))
        for expected in ("1c4679f9", "7927ca88", "1860c1d3"):  # openssl's
            self.assertEqual(stream.hexdigest()[:8], expected)
            stream.update(b"\0")

    def test_key_derivation(self) -> None:
        for size in (0, 1, 32, 33, 100):
            blocks = b"".join(ua.sm3(b"secret" + i.to_bytes(4, "big")) for i in range(1, 5))
            self.assertEqual(ua.derive_key(b"secret", size), blocks[:size])
        self.assertRaises(ua.Error, ua.derive_key, b"secret", -1)
        self.assertRaises(ua.Error, ua.derive_key, bytes((1 << 29) - 4), 1)

    def test_modes_and_padding(self) -> None:
        key, iv = bytes(range(16)), bytes(range(100, 116))
        cipher = ua.Sm4(key)
        for message in MESSAGES:
            padded = ua.pad(message)
            cbc, ecb = cipher.cbc_encrypt(iv, padded), cipher.ecb_encrypt(padded)
            options = ("enc", "-e", "-K", key.hex())
            self.assertEqual(cbc, self.openssl(*options, "-sm4-cbc", "-iv", iv.hex(), stdin=message))
            self.assertEqual(ecb, self.openssl(*options, "-sm4-ecb", stdin=message))
            self.assertEqual(ua.unpad(cipher.cbc_decrypt(iv, cbc)), message)
            self.assertEqual(ua.unpad(cipher.ecb_decrypt(ecb)), message)
            halves = cipher.cbc_encrypt(iv, padded[:16])
            self.assertEqual(halves + cipher.cbc_encrypt(halves, padded[16:]), cbc)
        for bad in (b"", bytes(16), b"\x11" * 32, b"\x20" * 32, bytes(14) + b"\x03\x02", b"\x01" * 17):
            self.assertRaises(ua.Error, ua.unpad, bad)
        for ragged in (4, 17):
            self.assertRaises(ua.Error, cipher.ecb_encrypt, bytes(ragged))
        self.assertRaises(ua.Error, cipher.cbc_encrypt, b"short", bytes(16))
        self.assertRaises(ua.Error, ua.Sm4, b"short")
        changeable = bytearray(padded)
        self.assertEqual(cipher.ecb_encrypt(changeable), ecb)
        self.assertEqual(changeable, padded)


class Buffers(unittest.TestCase):
    """What counts in other elements than bytes, skips some, or has rows is taken byte by byte, by every call."""

    def test_every_shape_is_its_bytes(self) -> None:
        data = bytes(range(64))
        keys = ua.Curve().key_pair(D)
        for view in (array.array("I", data), memoryview(data * 2)[::2], memoryview(data).cast("B", (4, 16))):
            flat = memoryview(view).tobytes()
            cipher, iv = ua.Sm4(array.array("I", flat[:16])), flat[:16]
            for call in (
                ua.sm3, ua.pad, cipher.ecb_encrypt, cipher.ecb_decrypt, lambda x: ua.derive_key(x, 40),
                lambda x: cipher.cbc_encrypt(iv, x), lambda x: cipher.cbc_decrypt(iv, x), ua.signature_to_der,
                lambda x: ua.Curve().identity_digest(keys.public, x), ua.Curve().contains,
            ):
                self.assertEqual(call(view), call(flat))
            sealed = ua.Curve().encrypt(keys.public, view)
            self.assertEqual(ua.Curve().decrypt(keys.private, array.array("I", sealed)), flat)
            self.assertEqual(ua.unpad(array.array("I", ua.pad(view))), flat)
        self.assertRaises(TypeError, ua.sm3, 5)


class PublicKeys(WithOpenssl):
    def test_signatures_go_both_ways(self) -> None:
        curve = ua.Curve()
        for user in (ua.DEFAULT_USER_ID, b"alice@example.com"):
            keys = curve.generate()
            option = ("-sigopt", "distid:" + user.decode())
            key = self.key_file(keys)
            for message in MESSAGES:
                ours, path = curve.sign(keys, message, user), self.file("message", message)
                signature = self.file("ours", ua.signature_to_der(ours))
                self.openssl("dgst", "-sm3", "-prverify", key, *option, "-signature", signature, path)
                theirs = self.openssl("dgst", "-sm3", "-sign", key, *option, path)
                self.assertTrue(curve.verify(keys.public, message, ua.signature_from_der(theirs), user))
                self.assertFalse(curve.verify(keys.public, message + b"x", ours, user))
                self.assertFalse(curve.verify(keys.public, message, ours, b"mallory"))

    def test_ciphertexts_go_both_ways(self) -> None:
        curve = ua.Curve()
        keys = curve.generate()
        key = self.key_file(keys)
        for message in MESSAGES[1:]:
            ours = curve.encrypt(keys.public, message)
            path = self.file("ours", ua.ciphertext_to_der(ours))
            self.assertEqual(self.openssl("pkeyutl", "-decrypt", "-inkey", key, "-in", path), message)
            theirs = self.openssl("pkeyutl", "-encrypt", "-inkey", key, "-in", self.file("message", message))
            self.assertEqual(curve.decrypt(keys.private, ua.ciphertext_from_der(theirs)), message)
            for order in ("C1C3C2", "C1C2C3"):
                self.assertEqual(ua.ciphertext_from_raw(ua.ciphertext_to_raw(ours, order), order), ours)
            self.assertEqual(ua.ciphertext_to_raw(ours)[65:], ours[64:96] + ours[100:])
            for at in (0, 64, 100):
                changed = ours[:at] + bytes([ours[at] ^ 1]) + ours[at + 1 :]
                self.assertRaises(ua.Error, curve.decrypt, keys.private, changed)
            self.assertRaises(ua.Error, curve.decrypt, keys.private, ours[:-1])
        for size, reason in ((0, "length"), (1, "key"), (ua.MAX_MESSAGE_SIZE, "key"), (ua.MAX_MESSAGE_SIZE + 1, "length")):
            self.assertRaisesRegex(ua.Error, reason, curve.encrypt, bytes(64), bytes(size))
        self.assertEqual(ua.MAX_MESSAGE_SIZE, 536870847)

    def test_keys(self) -> None:
        curve = ua.Curve()
        keys = curve.key_pair(D)
        self.assertEqual(keys.public[:2].hex() + keys.public[-2:].hex(), "09f9ad13")
        self.assertNotIn(D.hex(), repr(keys))
        self.assertNotIn(repr(D), repr(keys))
        n = curve.parameters[160:]
        self.assertRaises(ua.Error, curve.key_pair, n)
        self.assertRaises(ua.Error, curve.sign_digest, (int.from_bytes(n, "big") - 1).to_bytes(32, "big"), bytes(32))
        self.assertFalse(curve.contains(bytes(64)))
        self.assertFalse(curve.verify_digest(bytes(64), bytes(32), bytes(64)))
        self.assertRaises(ua.Error, curve.contains, b"\x04" + keys.public)
        z = curve.identity_digest(keys.public)
        self.assertEqual(z.hex(), "b2e14c5c79c6df5b85f4fe7ed8db7a262b9da7e07ccb0ea9f4747b8ccda8a4f3")
        self.assertRaises(ua.Error, curve.identity_digest, keys.public, bytes(8192))

    def test_other_curves(self) -> None:
        with open(os.path.join(os.path.dirname(__file__), "..", "vectors", "curves.inc"), encoding="utf-8") as curves:
            p256 = bytes.fromhex("".join(re.findall(r'"([0-9a-f]{64})"', curves.read())[12:18]))
        curve = ua.Curve(p256)
        keys = curve.generate()
        self.assertTrue(curve.verify(keys.public, b"m", curve.sign(keys, b"m")))
        self.assertFalse(ua.Curve().contains(keys.public))
        self.assertRaises(ua.Error, curve.key_pair, keys.private)
        even = p256[:31] + b"\xfe" + p256[32:64] + bytes(96) + p256[160:]  # with a base point, (0, 0), on the curve
        for bad in (even, p256[:-1], p256[:130] + b"x" + p256[131:], p256[:160] + bytes(4) + p256[164:]):
            self.assertRaises(ua.Error, ua.Curve, bad)

        # Base points, the public keys of 1, with a coordinate that can be spelled a second time with p added to it.
        one, e, p = (1).to_bytes(32, "big"), bytes(32), int.from_bytes(p256[:32], "big")
        for x, y in (
            (0, 0x66485C780E2F83D72433BD5D84A06BB6541C2AF31DAE871728BF856A174F93F4),
            (0xD7325D7646CD60D80A92738CEB345F844CFFAF35841022CAB176F692DE8DE1D7, 5),
        ):
            public, alias = (a.to_bytes(32, "big") + b.to_bytes(32, "big") for a, b in ((x, y), (x or p, y + p * (y == 5))))
            curve = ua.Curve(p256[:96] + public + p256[160:])
            signature = curve.sign_digest(one, e)
            self.assertTrue(curve.verify_digest(public, e, signature))
            self.assertFalse(curve.verify_digest(alias, e, signature))
            self.assertRaises(ua.Error, curve.encrypt, alias, b"x")


class Formats(unittest.TestCase):
    def test_only_der_is_taken(self) -> None:
        high, low = b"\xff" * 32, bytes(31) + b"\x01"
        for signature in (high + low, low + high, bytes(64), bytes(32) + b"\x7f" + bytes(31)):
            der = ua.signature_to_der(signature)
            self.assertEqual(ua.signature_from_der(der), signature)
            for bad in (der + b"\0", der[:-1], b"\x31" + der[1:], der[:1] + b"\x81" + der[1:], b""):
                self.assertRaises(ua.Error, ua.signature_from_der, bad)
        one = "020101"
        long = "0221" + 33 * "7f"
        for bad in ("02020001" + one, "020181" + one, "0200" + one, one, 3 * one, long + one, "0401ff" + one):
            content = bytes.fromhex(bad)
            self.assertRaises(ua.Error, ua.signature_from_der, b"\x30" + bytes([len(content)]) + content)
        record = high + low + bytes(32) + (300).to_bytes(4, "little") + b"x" * 300
        self.assertEqual(ua.ciphertext_from_der(ua.ciphertext_to_der(record)), record)
        self.assertRaises(ua.Error, ua.ciphertext_to_raw, record, "C3C1C2")
        for bad in (b"\x02" + bytes(200), b"\x04" + bytes(96), b""):
            self.assertRaises(ua.Error, ua.ciphertext_from_raw, bad)


class FindingTheLibrary(unittest.TestCase):
    """In processes of their own: a process keeps the library it has."""

    def found(self, module: str, **environment: str) -> "subprocess.CompletedProcess[str]":
        script = "import sys; sys.path[0] = sys.argv[1]; import ulmaro_algrithm as u; print(u.library_path())"
        kept = {k: v for k, v in os.environ.items() if k not in ("ULMARO_ALGRITHM_LIBRARY", "PYTHONPATH")}
        return subprocess.run(
            [sys.executable, "-c", script, module], env={**kept, **environment}, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, universal_newlines=True,
        )

    def test_only_what_was_asked_for(self) -> None:
        hardened = os.environ["ULMARO_ALGRITHM_LIBRARY"]
        module, libraries = os.path.dirname(os.path.abspath(ua.__file__)), os.path.dirname(hardened)
        self.assertEqual(ua.library_path(), hardened)
        with tempfile.TemporaryDirectory() as beside:
            shutil.copy(os.path.join(module, "ulmaro_algrithm.py"), beside)
            plain = shutil.copy(os.path.join(libraries, "libUlmaroAlgrithm.so"), beside)
            self.assertNotIn("libUlmaroAlgrithm.so", self.found(beside, LD_LIBRARY_PATH=beside).stdout)
            self.assertEqual(self.found(beside, ULMARO_ALGRITHM_LIBRARY=plain).stdout.strip(), plain)
            named = self.found(beside, LD_LIBRARY_PATH=beside, ULMARO_ALGRITHM_LIBRARY="libUlmaroAlgrithm.so")
            self.assertEqual(named.stdout.strip(), "libUlmaroAlgrithm.so")
            copy = shutil.copy(hardened, beside)
            self.assertEqual(self.found(beside).stdout.strip(), copy)
            self.assertIn("OSError: /nowhere.so", self.found(beside, ULMARO_ALGRITHM_LIBRARY="/nowhere.so").stderr)
        self.assertEqual(self.found(module, LD_LIBRARY_PATH=libraries).stdout.strip(), "libUlmaroAlgrithmHardened.so")


if __name__ == "__main__":
    unittest.main()
