"""The Python module over a built library, against OpenSSL's command line. ULMARO_ALGRITHM_LIBRARY names the library."""

import array
import atexit
import copy
import hmac
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import ulmaro_algrithm as ua

VECTORS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "vectors")
FOLDER = tempfile.mkdtemp()
atexit.register(shutil.rmtree, FOLDER)
MESSAGES = [bytes((7 * i + 3) % 256 for i in range(size)) for size in (0, 1, 15, 16, 17, 55, 56, 64, 119, 1000)]


def vectors(name: str) -> "list[str]":
    with open(os.path.join(VECTORS, name), encoding="utf-8") as file:
        return [line.strip() for line in file if not line.startswith(("#", "//"))]


def number(value: int) -> bytes:
    return value.to_bytes(32, "big")


def in_file(content: bytes) -> str:
    """The name of a file that holds this."""
    handle, path = tempfile.mkstemp(dir=FOLDER)
    with open(handle, "wb") as out:
        out.write(content)
    return path


def openssl(*arguments: str, stdin: bytes = b"") -> bytes:
    return subprocess.run(["openssl", *arguments], input=stdin, capture_output=True, check=True).stdout


class HashAndCipher(unittest.TestCase):
    def test_digests_and_streams(self) -> None:
        for message in MESSAGES:
            expected = openssl("dgst", "-sm3", "-r", stdin=message)[:64].decode()
            self.assertEqual(ua.sm3(message).hex(), expected)
            stream = ua.Sm3(message[:9])
            fork = copy.copy(stream)
            self.assertEqual(stream.digest(), ua.sm3(message[:9]), "digest() leaves the stream alone")
            stream.update(memoryview(message)[9:])
            self.assertEqual(stream.hexdigest(), expected)
            self.assertEqual(fork.digest(), ua.sm3(message[:9]))
            self.assertEqual(ua.new("SM3", message).hexdigest(), expected)
        self.assertRaises(ua.Error, ua.new, "md5")

    def test_keyed_messages(self) -> None:
        tried = [0, 0]
        for key, message, digits, valid in re.findall('"(.*)", "(.*)", "(.*)", (.*)}', "\n".join(vectors("hmac_sm3.inc"))):
            stream, tag = ua.HmacSm3(bytes.fromhex(key), bytes.fromhex(message)[:9]), bytes.fromhex(digits)
            self.assertEqual(copy.copy(stream).digest(), hmac.digest(bytes.fromhex(key), bytes.fromhex(message)[:9], ua.Sm3))
            stream.update(bytes.fromhex(message)[9:])
            self.assertEqual(stream.verify(tag), valid == "true")
            self.assertEqual(stream.hexdigest().startswith(digits), valid == "true")
            tried[valid == "true"] += 1
        self.assertGreater(min(tried), 40)
        for message in MESSAGES:
            key = bytes(range(len(message) % 150 + 1))
            theirs = openssl("dgst", "-sm3", "-mac", "HMAC", "-macopt", "hexkey:" + key.hex(), "-binary", stdin=message)
            self.assertEqual(ua.hmac_sm3(key, message), theirs)
        for size in (0, 15, 33):
            self.assertRaises(ua.Error, ua.HmacSm3(b"key").verify, bytes(size))

    def test_digests_beyond_the_count_of_the_library(self) -> None:
        stream = ua.Sm3(bytes((1 << 29) - 1))
        for expected in ("1c4679f9", "7927ca88", "1860c1d3"):  # openssl's
            self.assertEqual(stream.hexdigest()[:8], expected)
            stream.update(b"\0")

    def test_key_derivation(self) -> None:
        blocks = b"".join(ua.sm3(b"secret" + i.to_bytes(4, "big")) for i in range(1, 5))
        for size in (0, 1, 32, 33, 100):
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
            self.assertEqual(cbc, openssl(*options, "-sm4-cbc", "-iv", iv.hex(), stdin=message))
            self.assertEqual(ecb, openssl(*options, "-sm4-ecb", stdin=message))
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

    def test_counter_mode(self) -> None:
        key, message = bytes(range(16)), bytes(range(256)) * 520
        for counter in (0, 2**64 - 3, 2**128 - 1, 2**128 - 40, 2**128 - 4097):
            first = counter.to_bytes(16, "big")
            for size in (0, 1, 16, 17, 255, 256, 1000, len(message)):
                expected = openssl("enc", "-sm4-ctr", "-K", key.hex(), "-iv", first.hex(), stdin=message[:size])
                stream = ua.Sm4(key).ctr(first)
                pieces = [stream.update(message[:size][at:end]) for at, end in ((0, 5), (5, 21), (21, 23), (23, size))]
                self.assertEqual(b"".join(pieces) + stream.finalize(), expected)
        self.assertRaises(ua.Error, ua.Sm4(key).ctr, bytes(12))

    def test_every_shape_of_a_buffer_is_its_bytes(self) -> None:
        """What counts in other elements than bytes, skips some, or has rows is taken byte by byte, by every call."""
        data, curve = bytes(range(64)), ua.Curve()
        keys = curve.key_pair(number(107))
        changeable = bytearray(data)
        for view in (changeable, array.array("I", data), memoryview(data * 2)[::2], memoryview(data).cast("B", (4, 16))):
            flat = memoryview(view).tobytes()
            cipher, iv = ua.Sm4(array.array("I", flat[:16])), flat[:16]
            for call in (
                ua.sm3, ua.pad, cipher.ecb_encrypt, cipher.ecb_decrypt, lambda x: ua.derive_key(x, 40),
                lambda x: cipher.cbc_encrypt(iv, x), lambda x: cipher.cbc_decrypt(iv, x), ua.signature_to_der,
                lambda x: curve.identity_digest(keys.public, x), curve.contains, lambda x: ua.hmac_sm3(x, x),
                lambda x: cipher.ctr(iv).update(x),
            ):
                self.assertEqual(call(view), call(flat))
            sealed = curve.encrypt(keys.public, view)
            self.assertEqual(curve.decrypt(keys.private, array.array("I", sealed)), flat)
            self.assertEqual(ua.unpad(array.array("I", ua.pad(view))), flat)
        self.assertEqual(changeable, data)
        self.assertRaises(TypeError, ua.sm3, 5)


class PublicKeys(unittest.TestCase):
    def test_signatures_and_ciphertexts_go_both_ways(self) -> None:
        curve = ua.Curve()
        keys = curve.key_pair(number(107))
        key = in_file(openssl("pkey", "-inform", "DER", stdin=bytes.fromhex(vectors("keys.txt")[0].split()[-1])))
        for user in (ua.DEFAULT_USER_ID, b"alice@example.com"):
            options = ("dgst", "-sm3", "-sigopt", "distid:" + user.decode())
            for message in MESSAGES:
                ours = curve.sign(keys, message, user)
                signature = in_file(ua.signature_to_der(ours))
                openssl(*options, "-prverify", key, "-signature", signature, stdin=message)
                theirs = ua.signature_from_der(openssl(*options, "-sign", key, stdin=message))
                self.assertTrue(curve.verify(keys.public, message, theirs, user))
                self.assertFalse(curve.verify(keys.public, message + b"x", ours, user))
                self.assertTrue(curve.verify(keys.public, message, theirs, user.decode()))
                self.assertFalse(curve.verify(keys.public, message, ours, "mallory"))
        for message in MESSAGES[1:]:
            sealed = curve.encrypt(keys.public, message)
            plain = openssl("pkeyutl", "-decrypt", "-inkey", key, stdin=ua.ciphertext_to_der(sealed))
            self.assertEqual(plain, message)
            theirs = ua.ciphertext_from_der(openssl("pkeyutl", "-encrypt", "-inkey", key, stdin=message))
            self.assertEqual(curve.decrypt(keys.private, theirs), message)
            for bad in [sealed[:at] + bytes([sealed[at] ^ 1]) + sealed[at + 1 :] for at in (0, 64, 100)] + [sealed[:-1]]:
                self.assertRaises(ua.Error, curve.decrypt, keys.private, bad)
        for size, reason in ((0, "length"), (1, "key"), (ua.MAX_MESSAGE_SIZE, "key"), (ua.MAX_MESSAGE_SIZE + 1, "length")):
            self.assertRaisesRegex(ua.Error, reason, curve.encrypt, bytes(64), bytes(size))
        self.assertEqual(ua.MAX_MESSAGE_SIZE, 536870847)

    def test_keys(self) -> None:
        curve = ua.Curve()
        d = bytes.fromhex("3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8")
        keys, n = curve.key_pair(d), int.from_bytes(curve.parameters[160:], "big")
        self.assertEqual(keys.public[:2].hex() + keys.public[-2:].hex(), "09f9ad13")
        for secret in (d.hex(), repr(d)):
            self.assertNotIn(secret, repr(keys))
        self.assertRaises(ua.Error, curve.key_pair, number(n))
        self.assertRaises(ua.Error, curve.sign_digest, number(n - 1), bytes(32))
        self.assertFalse(curve.contains(bytes(64)))
        self.assertFalse(curve.verify_digest(bytes(64), bytes(32), bytes(64)))
        self.assertRaises(ua.Error, curve.contains, b"\x04" + keys.public)
        z = curve.identity_digest(keys.public)
        self.assertEqual(z.hex(), "b2e14c5c79c6df5b85f4fe7ed8db7a262b9da7e07ccb0ea9f4747b8ccda8a4f3")
        self.assertRaises(ua.Error, curve.identity_digest, keys.public, bytes(8192))
        longest = curve.identity_digest(keys.public, b"x" * 8191)
        self.assertEqual(longest.hex(), "b87725fabdf2bc059b7dec72b53253c44c4b2b4fa94b0d415f2287b12dc00467")

    def test_other_curves(self) -> None:
        p256 = bytes.fromhex("".join(re.findall("[0-9a-f]{64}", "".join(vectors("curves.inc")))[12:18]))
        curve = ua.Curve(p256)
        keys = curve.generate()
        self.assertTrue(curve.verify(keys.public, b"m", curve.sign(keys, b"m")))
        self.assertFalse(ua.Curve().contains(keys.public))
        self.assertRaises(ua.Error, curve.key_pair, keys.private)
        even = p256[:31] + b"\xfe" + p256[32:64] + bytes(96) + p256[160:]  # with a base point, (0, 0), on the curve
        for bad in (even, p256[:-1], p256[:130] + b"x" + p256[131:], p256[:160] + bytes(4) + p256[164:]):
            self.assertRaises(ua.Error, ua.Curve, bad)

        # Base points, the public keys of 1, with a coordinate that can be spelled a second time with p added to it.
        p = int.from_bytes(p256[:32], "big")
        for x, y in (
            (0, 0x66485C780E2F83D72433BD5D84A06BB6541C2AF31DAE871728BF856A174F93F4),
            (0xD7325D7646CD60D80A92738CEB345F844CFFAF35841022CAB176F692DE8DE1D7, 5),
        ):
            public, alias = number(x) + number(y), number(x or p) + number(y + p * (y == 5))
            curve = ua.Curve(p256[:96] + public + p256[160:])
            signature = curve.sign_digest(number(1), bytes(32))
            self.assertTrue(curve.verify_digest(public, bytes(32), signature))
            self.assertFalse(curve.verify_digest(alias, bytes(32), signature))
            self.assertRaises(ua.Error, curve.encrypt, alias, b"x")


class Formats(unittest.TestCase):
    def test_signatures(self) -> None:
        for digits, expected in [line.split(maxsplit=1) for line in vectors("signatures.txt")]:
            der = bytes.fromhex(digits)
            if len(expected) == 128:
                self.assertEqual(ua.signature_from_der(der).hex(), expected)
                self.assertEqual(ua.signature_to_der(bytes.fromhex(expected)), der)
            else:
                self.assertRaises(ua.Error, ua.signature_from_der, der)

    def test_ciphertexts(self) -> None:
        record = b""
        for layout, digits, *complaint in [line.split(maxsplit=2) for line in vectors("ciphertexts.txt")]:
            content, order = bytes.fromhex(digits.strip("-")), layout.upper()
            record = record or content
            if (layout != "der" and order not in ("C1C3C2", "C1C2C3")) or "empty message" in "".join(complaint):
                continue  # the record itself, and what is supported only elsewhere
            read = ua.ciphertext_from_der if layout == "der" else lambda raw: ua.ciphertext_from_raw(raw, order)
            if complaint:
                self.assertRaises(ua.Error, read, content)
            else:
                written = ua.ciphertext_to_der(record) if layout == "der" else ua.ciphertext_to_raw(record, order)
                self.assertEqual((read(content), written), (record, content))
        for size, head in ((23, "307f"), (24, "308180"), (300, "30820196")):
            longer = record[:96] + size.to_bytes(4, "little") + b"x" * size
            self.assertEqual(ua.ciphertext_to_der(longer)[: len(head) // 2].hex(), head)
            self.assertEqual(ua.ciphertext_from_der(ua.ciphertext_to_der(longer)), longer)
        self.assertRaises(ua.Error, ua.ciphertext_to_raw, record, "C3C1C2")


    def test_keys(self) -> None:
        keys = ua.Curve().key_pair(number(107))
        for expected, digits in [line.split(" = ") for line in vectors("keys.txt")]:
            readers = (ua.private_key_from_der, keys), (ua.public_key_from_der, keys.public)
            for (read, key), kind in zip(readers, ("private", "public")):
                if expected == kind and digits.startswith("30") and "2a864886f70d01050d" not in digits:
                    self.assertEqual(read(bytes.fromhex(digits)), key)
                else:
                    self.assertRaises(ua.Error, read, bytes.fromhex(digits))
        self.assertRaisesRegex(ua.Error, "at most", ua.public_key_from_der, bytes(65537))
        n = int.from_bytes(ua.Curve().parameters[160:], "big")
        largest, other = (ua.Curve().key_pair(number(d)) for d in (n - 1, n - 107))  # the other has this x as well
        self.assertRaisesRegex(ua.Error, "range", ua.private_key_from_der, ua.private_key_to_der(largest))
        both = {ua.public_key_from_der(bytes.fromhex(f"3039301306072a8648ce3d020106082a811ccf5501822d032200{sign:02}")
                                       + keys.public[:32]) for sign in (2, 3)}
        self.assertEqual(both, {keys.public, other.public})
        for made in (keys, ua.Curve().generate()):
            private, public = ua.private_key_to_pem(made), ua.public_key_to_pem(made.public)
            self.assertEqual(openssl("pkey", stdin=private.encode()).decode(), private)
            self.assertEqual(openssl("pkey", "-pubout", stdin=private.encode()).decode(), public)
            sec1 = openssl("ec", stdin=private.encode())
            for text in (private, sec1, b"a line\r\n" + public.encode() + sec1.replace(b"\n", b"\r\n")):
                self.assertEqual(ua.private_key_from_pem(text), made)
            self.assertEqual(ua.public_key_from_pem(sec1 + public.encode()), made.public)
        damaged = private.replace("END", "End"), private[:40] + "!" + private[41:], private.replace("-\n", "-\nA: b\n\n", 1)
        for bad in (*damaged, "", public):
            self.assertRaises(ua.Error, ua.private_key_from_pem, bad)
        for bad in (private, re.sub("[AQgw]==", "B==", public)):  # with a bit behind the last byte
            self.assertRaises(ua.Error, ua.public_key_from_pem, bad)

    def test_files_of_another_program(self) -> None:
        files = {}
        for name in os.listdir(os.path.join(VECTORS, "foreign")):
            with open(os.path.join(VECTORS, "foreign", name), "rb") as file:
                files[name] = file.read()
        for name in ("public.pem", "certificate.pem", "request.pem"):
            public = ua.public_key_from_pem(files[name])
            for signature, user in (("message.sig", ua.DEFAULT_USER_ID), ("message-other-id.sig", "sender@example.com")):
                theirs = ua.signature_from_der(files[signature])
                self.assertTrue(ua.Curve().verify(public, files["message"], theirs, user))
        self.assertRaisesRegex(ua.Error, "encrypted", ua.private_key_from_pem, files["key-encrypted.pem"])


class FindingTheLibrary(unittest.TestCase):
    """In processes of their own: a process keeps the library it has."""

    def found(self, module: str, **environment: str) -> str:
        script = "import sys; sys.path[0] = sys.argv[1]; import ulmaro_algrithm as u; print(u.library_path())"
        kept = {k: v for k, v in os.environ.items() if k not in ("ULMARO_ALGRITHM_LIBRARY", "PYTHONPATH")}
        return subprocess.run(
            [sys.executable, "-c", script, module], env={**kept, **environment}, text=True, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        ).stdout.strip()

    def test_only_what_was_asked_for(self) -> None:
        hardened = os.environ["ULMARO_ALGRITHM_LIBRARY"]
        module, libraries = os.path.dirname(os.path.abspath(ua.__file__)), os.path.dirname(hardened)
        self.assertEqual(ua.library_path(), hardened)
        with tempfile.TemporaryDirectory() as beside:
            shutil.copy(os.path.join(module, "ulmaro_algrithm.py"), beside)
            plain = shutil.copy(os.path.join(libraries, "libUlmaroAlgrithm.so"), beside)
            self.assertNotIn("libUlmaroAlgrithm.so", self.found(beside, LD_LIBRARY_PATH=beside))
            self.assertEqual(self.found(beside, ULMARO_ALGRITHM_LIBRARY=plain), plain)
            named = self.found(beside, LD_LIBRARY_PATH=beside, ULMARO_ALGRITHM_LIBRARY="libUlmaroAlgrithm.so")
            self.assertEqual(named, "libUlmaroAlgrithm.so")
            beside_it = shutil.copy(hardened, beside)
            self.assertEqual(self.found(beside), beside_it)
            self.assertIn("OSError: /nowhere.so", self.found(beside, ULMARO_ALGRITHM_LIBRARY="/nowhere.so"))
        self.assertEqual(self.found(module, LD_LIBRARY_PATH=libraries), "libUlmaroAlgrithmHardened.so")


if __name__ == "__main__":
    unittest.main()
