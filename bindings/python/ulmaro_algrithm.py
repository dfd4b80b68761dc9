"""SM2, SM3 and SM4 from libUlmaroAlgrithm, for scripts and test benches.

One file on top of ctypes: copy it where it is needed. It looks for libUlmaroAlgrithmHardened.so

1. beside this file;
2. where the dynamic linker looks.

If it is in neither place, the first use raises `OSError`. The environment variable ULMARO_ALGRITHM_LIBRARY can name
another file, or the plain library, libUlmaroAlgrithm.so, whose keys can be guessed and which is never used unasked;
then nothing else is tried. A name without a slash is looked up by the dynamic linker.

Identities may be `str`, taken as UTF-8, and so may PEM. Other byte strings go in as anything with a buffer (`bytes`,
`bytearray`, `memoryview`, arrays of any element and shape, taken byte by byte) and come out as `bytes`, laid out as the
C header says: numbers big-endian in 32 bytes, a public key x || y, a signature r || s, a ciphertext the record C1, C3,
length, C2. Anything impossible or refused raises `Error`, and an argument of another type `TypeError`. For a refused
signature or ciphertext the library also prints one line on the standard output of the process.

Curves and SM4 keys may be shared between threads; a stream is for one thread at a time. Random keys, ivs and counters
come from `secrets.token_bytes`. Python keeps copies of what it handles, so keys stay in memory until they are
overwritten by chance.

    >>> sm3(b"abc").hex()
    '66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0'
    >>> curve = Curve()
    >>> keys = curve.generate()
    >>> curve.verify(keys.public, b"message", curve.sign(keys, b"message"))
    True
"""

from __future__ import annotations

import base64
import ctypes
import functools
import hmac
import os
import re
from typing import Callable, Iterator, List, NamedTuple, Optional, Tuple, Union

__all__ = [
    "Curve",
    "DEFAULT_USER_ID",
    "Error",
    "HmacSm3",
    "KeyPair",
    "MAX_MESSAGE_SIZE",
    "Sm3",
    "Sm4",
    "Sm4Ctr",
    "ciphertext_from_der",
    "ciphertext_from_raw",
    "ciphertext_to_der",
    "ciphertext_to_raw",
    "derive_key",
    "hmac_sm3",
    "library_path",
    "new",
    "pad",
    "private_key_from_der",
    "private_key_from_pem",
    "private_key_to_der",
    "private_key_to_pem",
    "public_key_from_der",
    "public_key_from_pem",
    "public_key_to_der",
    "public_key_to_pem",
    "signature_from_der",
    "signature_to_der",
    "sm3",
    "unpad",
]

Data = Union[bytes, bytearray, memoryview]
Text = Union[str, Data]
DEFAULT_USER_ID = b"1234567812345678"
MAX_MESSAGE_SIZE = (1 << 29) - 65  # bytes that encrypt() takes: C3 is a digest of 64 more, and see _HASH_END

_NAME = "libUlmaroAlgrithmHardened.so"
_PIECE = 1 << 20  # bytes copied and passed on at a time; the library counts in int
_HASH_END = 1 << 29  # from here on the library's own digests are not the standard's
_HEAD = 100  # bytes of a ciphertext record before C2
_BATCH = 4096  # counter blocks encrypted at a time
_EC = bytes.fromhex("2a8648ce3d0201")  # the object identifier of keys on curves
_SM2 = bytes.fromhex("2a811ccf5501822d")  # that of the curve, which also names the algorithm in some keys


class Error(ValueError):
    """An impossible value, or one that the library refuses."""


def _prototypes() -> List[Tuple[str, bool, List[object]]]:
    """Name, whether it returns a result, argument types. Input bytes are never written to."""
    data, room, count = ctypes.c_char_p, ctypes.c_void_p, ctypes.c_int
    return [
        ("SM3_HASH", False, [data, count, room]),
        ("SM3_Init", False, [room]),
        ("SM3_Update", False, [room, data, count]),
        ("SM3_Final", False, [room, room]),
        ("SM2_KDF_ALGRITRHM", False, [data, count, count, room]),
        ("SM4_KEY_INIT", True, [data, count, room, count]),
        ("SM4_X_ECB_EN_MODE", False, [data, count, room, room]),
        ("SM4_X_ECB_DE_MODE", False, [data, count, room, room]),
        ("SM4_X_CBC_EN_MODE", False, [data, count, room, data, room]),
        ("SM4_X_CBC_DE_MODE", False, [data, count, room, data, room]),
        ("SM2_Get_Paramter", True, [room, count]),
        ("SM2_ECC_InitParameter", True, [data, room]),
        ("SM2_ECC_GenerateKeyPair", True, [room, room, room]),
        ("SM2_CalcPubKeyByPriKey", True, [room, room]),
        ("SM2_POINT_is_on_curve", True, [data, data]),
        ("SM2_ECDSA_Signature", True, [room, data, data, room]),
        ("SM2_ECDSA_Verification", True, [room, data, data, data]),
        ("SM2_ECES_Encryption", True, [room, data, count, data, room]),
        ("SM2_ECES_Decryption", True, [room, data, data, room]),
    ]


@functools.lru_cache(maxsize=None)
def _library() -> ctypes.CDLL:
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), _NAME)
    name = os.environ.get("ULMARO_ALGRITHM_LIBRARY") or (beside if os.path.exists(beside) else _NAME)
    try:
        library = ctypes.CDLL(name)
    except OSError as reason:
        raise OSError(f"{reason}; ULMARO_ALGRITHM_LIBRARY can name the library") from None
    for entry_point, has_result, arguments in _prototypes():
        function = getattr(library, entry_point)
        function.argtypes = arguments
        function.restype = ctypes.c_int if has_result else None
    return library


def library_path() -> str:
    """The name by which the library was found; finds it."""
    return _library()._name


def _bytes(data: Data) -> bytes:
    """All bytes of a buffer. len() of a view counts elements, which need not be bytes, of its first dimension."""
    return data if isinstance(data, bytes) else memoryview(data).tobytes()


def _text(value: Text) -> bytes:
    return value.encode() if isinstance(value, str) else _bytes(value)


def _exactly(value: Data, size: int, what: str) -> bytes:
    value = _bytes(value)
    if len(value) != size:
        raise Error(f"{what} has {size} bytes, not {len(value)}")
    return value


def _words(size: int) -> "ctypes.Array[ctypes.c_uint]":
    """Aligned room for a record of words."""
    return (ctypes.c_uint * (size // 4))()


class Sm3:
    """An SM3 stream, used like those of hashlib."""

    digest_size = 32
    block_size = 64
    name = "sm3"

    def __init__(self, data: Data = b"") -> None:
        self._context = _words(360)
        self._size = 0
        _library().SM3_Init(self._context)
        self.update(data)

    def update(self, data: Data) -> None:
        """Absorbs bytes, fewer than 2^61 in all."""
        view = memoryview(data)
        if view.format != "B" or view.ndim != 1:
            view = memoryview(view.tobytes())
        for start in range(0, len(view), _PIECE):
            piece = bytes(view[start : start + _PIECE])
            _library().SM3_Update(self._context, piece, len(piece))
        self._size += len(view)

    def copy(self) -> "Sm3":
        """Another stream that goes on from here."""
        other = Sm3.__new__(Sm3)
        other._context = type(self._context).from_buffer_copy(self._context)
        other._size = self._size
        return other

    __copy__ = copy  # copy.copy() would leave both with one context

    def digest(self) -> bytes:
        """The digest of what was absorbed so far; the stream may go on."""
        # SM3_Final() writes a length that is right only below 2^29 bytes. Padding fills a block, and then the eight
        # words of the chaining value, after one word in the context, are the digest.
        padded = self.copy()
        padded.update(b"\x80" + bytes((55 - self._size) % 64) + (8 * self._size).to_bytes(8, "big"))
        return b"".join(word.to_bytes(4, "big") for word in padded._context[1:9])

    def hexdigest(self) -> str:
        return self.digest().hex()


def new(name: str, data: Data = b"") -> Sm3:
    """A stream by its name, "sm3", as hashlib.new() makes them."""
    if name.lower() != Sm3.name:
        raise Error(f"unsupported hash {name}")
    return Sm3(data)


def sm3(data: Data) -> bytes:
    """The digest of a byte string."""
    data = _bytes(data)
    if len(data) >= _HASH_END:
        return Sm3(data).digest()
    out = ctypes.create_string_buffer(Sm3.digest_size)
    _library().SM3_HASH(data, len(data), out)
    return out.raw


_INNER = bytes(byte ^ 0x36 for byte in range(256))
_OUTER = bytes(byte ^ 0x5C for byte in range(256))


def _hmac_blocks(key: Data) -> Tuple[bytes, bytes]:
    """What the inner and the outer hash of HMAC begin with."""
    key = _bytes(key)
    block = (sm3(key) if len(key) > Sm3.block_size else key).ljust(Sm3.block_size, b"\0")
    return block.translate(_INNER), block.translate(_OUTER)


class HmacSm3:
    """A stream under HMAC with SM3 (RFC 2104), used like those of hmac: only holders of the key can make its digest."""

    digest_size = Sm3.digest_size
    block_size = Sm3.block_size
    name = "hmac-sm3"

    def __init__(self, key: Data, data: Data = b"") -> None:
        """A key of any length; one of 32 bytes is as strong as any longer one."""
        inner, outer = _hmac_blocks(key)
        self._inner, self._outer = Sm3(inner), Sm3(outer)
        self.update(data)

    def update(self, data: Data) -> None:
        """Absorbs bytes, fewer than 2^61 - 64 in all."""
        self._inner.update(data)

    def copy(self) -> "HmacSm3":
        """Another stream that goes on from here."""
        other = HmacSm3.__new__(HmacSm3)
        other._inner, other._outer = self._inner.copy(), self._outer
        return other

    __copy__ = copy

    def digest(self) -> bytes:
        """The tag of what was absorbed so far; the stream may go on."""
        outer = self._outer.copy()
        outer.update(self._inner.digest())
        return outer.digest()

    def hexdigest(self) -> str:
        return self.digest().hex()

    def verify(self, tag: Data) -> bool:
        """Whether the tag begins with these 16 to 32 bytes; compares in constant time, which == does not."""
        tag = _bytes(tag)
        if not 16 <= len(tag) <= self.digest_size:
            raise Error("an HMAC tag has 16 to 32 bytes")
        return hmac.compare_digest(tag, self.digest()[: len(tag)])


def hmac_sm3(key: Data, data: Data) -> bytes:
    """The tag of a byte string. Compare tags with HmacSm3.verify() or hmac.compare_digest()."""
    inner, outer = _hmac_blocks(key)
    return sm3(outer + sm3(inner + _bytes(data)))


def derive_key(secret: Data, size: int) -> bytes:
    """`size` bytes, fewer than 2^31, from a shared secret of at most 2^29 - 5 bytes."""
    secret = _bytes(secret)
    if not 0 <= size < 1 << 31 or len(secret) + 4 >= _HASH_END:
        raise Error("key derivation does not support this length")
    out = ctypes.create_string_buffer(max(size, 1))
    _library().SM2_KDF_ALGRITRHM(secret, len(secret), size, out)
    return out.raw[:size]


def pad(data: Data) -> bytes:
    """PKCS#7: 1 to 16 bytes, each holding their number."""
    data = _bytes(data)
    count = 16 - len(data) % 16
    return data + bytes([count]) * count


def unpad(data: Data) -> bytes:
    """Removes what pad() added. Do not reveal whether that worked: authenticate before decrypting."""
    data = _bytes(data)
    count = data[-1] if len(data) > 0 and len(data) % 16 == 0 else 0
    if not 1 <= count <= 16 or data[-count:] != bytes([count]) * count:
        raise Error("wrong padding")
    return data[:-count]


class Sm4:
    """An SM4 key for both directions. Lengths are multiples of 16: see pad()."""

    def __init__(self, key: Data) -> None:
        self._schedule = _words(128)
        _library().SM4_KEY_INIT(_exactly(key, 16, "an SM4 key"), 16, self._schedule, 32)

    def ecb_encrypt(self, data: Data) -> bytes:
        return self._run(_library().SM4_X_ECB_EN_MODE, data)

    def ecb_decrypt(self, data: Data) -> bytes:
        return self._run(_library().SM4_X_ECB_DE_MODE, data)

    def cbc_encrypt(self, iv: Data, data: Data) -> bytes:
        """To continue a stream, pass the last 16 bytes of the result as the next iv."""
        return self._run(_library().SM4_X_CBC_EN_MODE, data, _exactly(iv, 16, "an iv"))

    def cbc_decrypt(self, iv: Data, data: Data) -> bytes:
        """To continue a stream, pass the last 16 bytes of this ciphertext as the next iv."""
        return self._run(_library().SM4_X_CBC_DE_MODE, data, _exactly(iv, 16, "an iv"))

    def ctr(self, counter: Data) -> "Sm4Ctr":
        """Counter mode from this block of 16 bytes on: the same for both directions."""
        return Sm4Ctr(self, counter)

    def _run(self, mode: Callable[..., None], data: Data, *iv: bytes) -> bytes:
        data = _bytes(data)
        if len(data) % 16 != 0 or len(data) > 1 << 30:
            raise Error("SM4 works on whole blocks of 16 bytes, at most 1 GiB at a time")
        out = ctypes.create_string_buffer(max(len(data), 1))
        mode(data, len(data), self._schedule, *iv, out)
        return out.raw[: len(data)]


class Sm4Ctr:
    """A stream in counter mode, made by Sm4.ctr(): adds the encrypted counter blocks to what passes through.

    The counter is a big-endian number modulo 2^128. Two messages must never meet the same counter block under the same
    key: with both, anyone learns their difference. Nothing here is authenticated; see HmacSm3.
    """

    def __init__(self, cipher: Sm4, counter: Data) -> None:
        self._cipher = cipher
        self._counter = int.from_bytes(_exactly(counter, 16, "a counter block"), "big")
        self._left = b""  # of the last encrypted block

    def update(self, data: Data) -> bytes:
        """The result for the next bytes of the message, as many as these; pieces may have any length."""
        data = _bytes(data)
        pieces, missing = [self._left], len(data) - len(self._left)
        while missing > 0:
            count = min((missing + 15) // 16, _BATCH, (1 << 128) - self._counter)
            pieces.append(self._cipher.ecb_encrypt(_counter_blocks(self._counter, count)))
            self._counter = (self._counter + count) % (1 << 128)
            missing -= 16 * count
        stream = b"".join(pieces)
        size = len(data)
        self._left = stream[size:]
        # The byte in front keeps the numbers from starting with zeros, whose count would show in the time.
        total = int.from_bytes(b"\1" + data, "big") ^ int.from_bytes(b"\2" + stream[:size], "big")
        return total.to_bytes(size + 1, "big")[1:]

    def finalize(self) -> bytes:
        """What is still to come: nothing."""
        return b""


@functools.lru_cache(maxsize=None)
def _steps() -> Tuple[int, int]:
    """Blocks that each hold 1, and blocks that hold 0, 1, 2, ..., as two numbers of _BATCH blocks."""
    ones = b"".join([(1).to_bytes(16, "big")] * _BATCH)
    counts = b"".join(i.to_bytes(16, "big") for i in range(_BATCH))
    return int.from_bytes(ones, "big"), int.from_bytes(counts, "big")


def _counter_blocks(first: int, count: int) -> bytes:
    """The blocks first, first + 1, ..., all below 2^128: no sum carries into the block before it."""
    if count < 16:
        return b"".join((first + i).to_bytes(16, "big") for i in range(count))
    ones, counts = (number >> 128 * (_BATCH - count) for number in _steps())
    return (first * ones + counts).to_bytes(16 * count, "big")


class KeyPair(NamedTuple):
    """The scalar d, 32 bytes, and the point x || y, 64 bytes."""

    private: bytes
    public: bytes

    def __repr__(self) -> str:
        return f"KeyPair(private=..., public={self.public!r})"


class Curve:
    """A prepared curve: the recommended one, or that of a block of 192 bytes (p, a, b, Gx, Gy, n)."""

    def __init__(self, parameters: Optional[Data] = None) -> None:
        recommended = ctypes.create_string_buffer(192)
        _library().SM2_Get_Paramter(recommended, 0)
        self.parameters = recommended.raw if parameters is None else _exactly(parameters, 192, "a parameter block")
        self._recommended = self.parameters == recommended.raw
        odd = self.parameters[31] & 1
        if not odd or not any(self.parameters[160:164]) or not self.contains(self.parameters[96:160]):
            raise Error("not the parameters of a usable curve")
        self._group = _words(416)
        _library().SM2_ECC_InitParameter(self.parameters, self._group)

    def generate(self) -> KeyPair:
        """Draws a key pair. The plain library's keys can be guessed."""
        public, private = ctypes.create_string_buffer(64), ctypes.create_string_buffer(32)
        _library().SM2_ECC_GenerateKeyPair(self._group, public, private)
        return KeyPair(private.raw, public.raw)

    def key_pair(self, private: Data) -> KeyPair:
        """The pair of a private key, on the recommended curve."""
        scalar = _exactly(private, 32, "a private key")
        if not self._recommended:
            raise Error("supported only on the recommended curve")
        words, public = _words(40), ctypes.create_string_buffer(64)
        for i in range(8):
            words[i] = int.from_bytes(scalar[28 - 4 * i : 32 - 4 * i], "big")
        _library().SM2_CalcPubKeyByPriKey(public, words)
        if not any(public.raw):
            raise Error("not a private key")
        return KeyPair(scalar, public.raw)

    def contains(self, public: Data) -> bool:
        """Whether a public key is a point of the curve, with coordinates below p. Check keys from elsewhere."""
        key = _exactly(public, 64, "a public key")
        p = self.parameters[:32]
        on_curve: int = _library().SM2_POINT_is_on_curve(self.parameters, key)
        return key[:32] < p and key[32:] < p and on_curve == 1

    def identity_digest(self, public: Data, user_id: Text = DEFAULT_USER_ID) -> bytes:
        """Z, which binds the signer's identity, the curve and the public key."""
        user_id = _text(user_id)
        if len(user_id) > 8191:
            raise Error("a user identity has at most 8191 bytes")
        key = _exactly(public, 64, "a public key")
        return sm3((8 * len(user_id)).to_bytes(2, "big") + user_id + self.parameters[32:160] + key)

    def message_stream(self, public: Data, user_id: Text = DEFAULT_USER_ID) -> Sm3:
        """A stream that has absorbed Z: update() it with a message, and sign or verify its digest()."""
        return Sm3(self.identity_digest(public, user_id))

    def sign(self, keys: KeyPair, message: Data, user_id: Text = DEFAULT_USER_ID) -> bytes:
        """r || s over SM3(Z || message)."""
        stream = self.message_stream(keys.public, user_id)
        stream.update(message)
        return self.sign_digest(keys.private, stream.digest())

    def sign_digest(self, private: Data, e: Data) -> bytes:
        """r || s over e, which is SM3(Z || message) and not a digest of the message alone."""
        signature = ctypes.create_string_buffer(64)
        key = _exactly(private, 32, "a private key")
        _library().SM2_ECDSA_Signature(self._group, _exactly(e, 32, "a digest"), key, signature)
        if not any(signature.raw):
            raise Error("this key allows no signature")
        return signature.raw

    def verify(self, public: Data, message: Data, signature: Data, user_id: Text = DEFAULT_USER_ID) -> bool:
        """Whether r || s is valid for SM3(Z || message)."""
        stream = self.message_stream(public, user_id)
        stream.update(message)
        return self.verify_digest(public, stream.digest(), signature)

    def verify_digest(self, public: Data, e: Data, signature: Data) -> bool:
        """Whether r || s is valid for e = SM3(Z || message)."""
        arguments = (_exactly(e, 32, "a digest"), _bytes(public), _exactly(signature, 64, "a signature"))
        if not self.contains(public):
            return False
        verdict: int = _library().SM2_ECDSA_Verification(self._group, *arguments)
        return verdict == 1

    def encrypt(self, public: Data, message: Data) -> bytes:
        """A ciphertext record, 100 bytes longer than the message, which has 1 to MAX_MESSAGE_SIZE bytes."""
        message = _bytes(message)
        if not 0 < len(message) <= MAX_MESSAGE_SIZE:
            raise Error("SM2 cannot encrypt a message of this length")
        if not self.contains(public):
            raise Error("not a public key of this curve")
        record = ctypes.create_string_buffer(_HEAD + len(message))
        _library().SM2_ECES_Encryption(self._group, message, len(message), _bytes(public), record)
        if not any(record[:64]):
            raise Error("this key allows no encryption")
        return record.raw

    def decrypt(self, private: Data, record: Data) -> bytes:
        """The message in a ciphertext record."""
        record = _check_record(record)
        size = len(record) - _HEAD
        plain = ctypes.create_string_buffer(max(size, 1))
        key = _exactly(private, 32, "a private key")
        if _library().SM2_ECES_Decryption(self._group, record, key, plain) != 1:
            raise Error("the ciphertext is refused")
        return plain.raw[:size]


def _check_record(record: Data) -> bytes:
    record = _bytes(record)
    if len(record) < _HEAD or int.from_bytes(record[96:_HEAD], "little") != len(record) - _HEAD:
        raise Error("not a ciphertext record")
    return record


def _make_record(c1: bytes, c3: bytes, c2: bytes) -> bytes:
    return c1 + c3 + len(c2).to_bytes(4, "little") + c2


def ciphertext_to_raw(record: Data, order: str = "C1C3C2") -> bytes:
    """04 and the parts of a record in either order, "C1C3C2" or "C1C2C3"."""
    record = _check_record(record)
    c3, c2 = record[64:96], record[_HEAD:]
    return b"\x04" + record[:64] + (c2 + c3 if _is_older(order) else c3 + c2)


def ciphertext_from_raw(raw: Data, order: str = "C1C3C2") -> bytes:
    """The record for what ciphertext_to_raw() returns."""
    raw = _bytes(raw)
    if len(raw) <= 97 or raw[0] != 4:
        raise Error("not a raw ciphertext")
    if _is_older(order):
        return _make_record(raw[1:65], raw[-32:], raw[65:-32])
    return _make_record(raw[1:65], raw[65:97], raw[97:])


def _is_older(order: str) -> bool:
    if order not in ("C1C3C2", "C1C2C3"):
        raise Error("the order must be C1C3C2 or C1C2C3")
    return order == "C1C2C3"


def signature_to_der(signature: Data) -> bytes:
    """SEQUENCE of the INTEGERs r and s."""
    signature = _exactly(signature, 64, "a signature")
    return _tlv(0x30, _integer(signature[:32]) + _integer(signature[32:]))


def signature_from_der(der: Data) -> bytes:
    """r || s from their shortest DER form; anything else raises."""
    r, s = _elements(_inside(der), 0x02, 0x02)
    return _number(r) + _number(s)


def ciphertext_to_der(record: Data) -> bytes:
    """SEQUENCE of the INTEGERs x and y and the OCTET STRINGs C3 and C2."""
    record = _check_record(record)
    point = _integer(record[:32]) + _integer(record[32:64])
    return _tlv(0x30, point + _tlv(0x04, record[64:96]) + _tlv(0x04, record[_HEAD:]))


def ciphertext_from_der(der: Data) -> bytes:
    """A record from the DER form; anything that is not DER raises."""
    x, y, c3, c2 = _elements(_inside(der), 0x02, 0x02, 0x04, 0x04)
    return _make_record(_number(x) + _number(y), _exactly(c3, 32, "C3"), c2)


@functools.lru_cache(maxsize=None)
def _recommended() -> Curve:
    return Curve()


def private_key_to_der(keys: KeyPair) -> bytes:
    """PKCS#8 with the public key inside, as openssl writes it; not encrypted."""
    public = _tlv(0xA1, _tlv(0x03, b"\0\4" + _exactly(keys.public, 64, "a public key")))
    inner = _integer(b"\1") + _tlv(0x04, _exactly(keys.private, 32, "a private key")) + public
    return _tlv(0x30, _integer(b"\0") + _algorithm() + _tlv(0x04, _tlv(0x30, inner)))


def private_key_from_der(der: Data) -> KeyPair:
    """A key of the recommended curve in PKCS#8 (RFC 5208, RFC 5958) or SEC1 (RFC 5915), with the public key that belongs
    to it. Encrypted keys raise: the command-line tool reads them."""
    inside = _inside_key(der)
    if inside[:1] == b"\x30" and _split(inside, 0x30)[1][:1] == b"\x04":
        raise Error("the private key is encrypted")
    version, rest = _split(inside, 0x02)
    if rest[:1] == b"\x04":
        return _ec_private_key(inside, False)
    if version not in (b"\0", b"\1"):
        raise Error("a key of an unknown version")
    algorithm, rest = _split(rest, 0x30)
    _check_algorithm(algorithm)
    key, rest = _split(rest, 0x04)
    keys = _ec_private_key(_inside(key), True)
    attributes, rest = _optional(rest, 0xA0)
    while attributes:
        attribute, attributes = _split(attributes, 0x30)
        name, values = _elements(attribute, 0x06, 0x31)
        if not re.fullmatch(rb"(([\x81-\xff][\x80-\xff]*)?[\x00-\x7f])+", name):
            raise Error("not DER: an object identifier that is incomplete or not in its shortest form")
        while values:
            if values[0] == 0 or values[0] & 0x1F == 0x1F:
                raise Error("not the expected DER")
            _, values = _split(values, values[0])
    public, rest = _optional(rest, 0x81) if version == b"\1" else (None, rest)
    _check_public_part(keys, public)
    if rest:
        raise Error("more in the DER than expected")
    return keys


def _ec_private_key(inside: bytes, curve_known: bool) -> KeyPair:
    version, rest = _split(inside, 0x02)
    if version != b"\1":
        raise Error("a key of an unknown version")
    scalar, rest = _split(rest, 0x04)
    curve, rest = _optional(rest, 0xA0)
    if curve is not None or not curve_known:
        _check_curve(curve or b"")
    public, rest = _optional(rest, 0xA1)
    if rest:
        raise Error("more in the DER than expected")
    # Some keys lack the leading zeros that the standard requires, and others have more.
    d, n = int.from_bytes(scalar, "big"), int.from_bytes(_recommended().parameters[160:], "big")
    if not 0 < d < n - 1:
        raise Error("a private key out of range")
    keys = _recommended().key_pair(d.to_bytes(32, "big"))
    _check_public_part(keys, None if public is None else _elements(public, 0x03)[0])
    return keys


def _check_public_part(keys: KeyPair, bits: Optional[bytes]) -> None:
    if bits is not None and _point(bits) != keys.public:
        raise Error("the public key does not belong to the private key")


def _algorithm() -> bytes:
    return _tlv(0x30, _tlv(0x06, _EC) + _tlv(0x06, _SM2))


def _check_algorithm(content: bytes) -> None:
    name, rest = _split(content, 0x06)
    named_itself = name in (_SM2, _SM2 + b"\1", _SM2 + b"\2", _SM2 + b"\3")
    if not named_itself and name != _EC:
        raise Error("a key of another algorithm")
    if not named_itself or rest not in (b"", _tlv(0x05, b"")):
        _check_curve(rest)


def _check_curve(name: bytes) -> None:
    if name != _tlv(0x06, _SM2):
        raise Error("a key without a curve, of another one, or with explicit parameters")


def _point(bits: bytes) -> bytes:
    """x || y from a BIT STRING that holds 04 || x || y, or 02 or 03 (the parity of y) || x."""
    parameters = _recommended().parameters
    if len(bits) == 34 and bits[:2] in (b"\0\2", b"\0\3"):
        p, a, b = (int.from_bytes(parameters[at : at + 32], "big") for at in (0, 32, 64))
        x = int.from_bytes(bits[2:], "big")
        y = pow(x**3 + a * x + b, (p + 1) // 4, p)  # a square root, if there is one: p is 3 modulo 4
        bits = b"\0\4" + bits[2:] + (y if y & 1 == bits[1] & 1 else p - y).to_bytes(32, "big")
    if len(bits) != 66 or bits[:2] != b"\0\4" or not _recommended().contains(bits[2:]):
        raise Error("a public key that is not a point of the curve")
    return bits[2:]


def public_key_to_der(public: Data) -> bytes:
    """SubjectPublicKeyInfo."""
    return _tlv(0x30, _algorithm() + _tlv(0x03, b"\0\4" + _exactly(public, 64, "a public key")))


def public_key_from_der(der: Data) -> bytes:
    """A key of the recommended curve in a SubjectPublicKeyInfo; or that of the subject of an X.509 certificate or PKCS#10
    request, in which nothing else is judged: neither signature, nor names, nor dates."""
    inside = _inside_key(der)
    first, rest = _split(inside, 0x30)
    if rest[:1] == b"\x30":
        # Signed contents. The key is the last of the sequences that follow a number: two in a request, five in others.
        _elements(inside, 0x30, 0x30, 0x03)
        _, rest = _split(_optional(first, 0xA0)[1], 0x02)
        sequences = []
        while rest[:1] == b"\x30":
            content, rest = _split(rest, 0x30)
            sequences.append(content)
        if len(sequences) not in (2, 5):
            raise Error("neither a certificate nor a request")
        inside = sequences[-1]
    algorithm, bits = _elements(inside, 0x30, 0x03)
    _check_algorithm(algorithm)
    return _point(bits)


def private_key_to_pem(keys: KeyPair) -> str:
    """"PRIVATE KEY": PKCS#8 in PEM, not encrypted."""
    return _pem("PRIVATE KEY", private_key_to_der(keys))


def private_key_from_pem(pem: Text) -> KeyPair:
    """The first private key of a PEM text. Encrypted keys raise, as they do in private_key_from_der()."""
    for label, der in _pem_blocks(pem):
        if label.endswith("PRIVATE KEY"):
            return private_key_from_der(der)
    raise Error("no private key in this PEM text")


def public_key_to_pem(public: Data) -> str:
    """"PUBLIC KEY": SubjectPublicKeyInfo in PEM."""
    return _pem("PUBLIC KEY", public_key_to_der(public))


def public_key_from_pem(pem: Text) -> bytes:
    """The first public key of a PEM text, also that of a certificate or request."""
    for label, der in _pem_blocks(pem):
        if label.endswith(("PUBLIC KEY", "CERTIFICATE", "CERTIFICATE REQUEST")):
            return public_key_from_der(der)
    raise Error("no public key in this PEM text")


def _pem(label: str, der: bytes) -> str:
    digits = base64.b64encode(der).decode()
    lines = [digits[at : at + 64] for at in range(0, len(digits), 64)]
    return "\n".join([f"-----BEGIN {label}-----", *lines, f"-----END {label}-----", ""])


def _pem_blocks(pem: Text) -> Iterator[Tuple[str, bytes]]:
    """Labels and contents. What stands outside of blocks is skipped; a block that does not end as it began raises."""
    lines = iter(_text(pem).decode("latin-1").splitlines())
    for line in lines:
        begin = re.fullmatch(r"-----BEGIN (.+)-----\s*", line)
        if begin is None:
            continue
        body, label = [], begin[1]
        for line in lines:
            if line.startswith("-----"):
                break
            body.append(line)
        if line.rstrip() != f"-----END {label}-----":
            raise Error("damaged PEM")
        if any(":" in inside for inside in body):
            raise Error("PEM with headers, which only keys encrypted in an old way have")
        digits = "".join("".join(body).split()).encode("latin-1")
        try:
            der = base64.b64decode(digits)
        except ValueError:
            der = b""
        if base64.b64encode(der) != digits:  # also when a bit behind the last byte is set
            raise Error("damaged PEM")
        yield label, der


def _tlv(tag: int, content: bytes) -> bytes:
    size = len(content)
    length = bytes([size]) if size < 128 else size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([tag]) + (length if size < 128 else bytes([0x80 | len(length)]) + length) + content


def _integer(number: bytes) -> bytes:
    digits = number.lstrip(b"\x00") or b"\x00"
    return _tlv(0x02, b"\x00" * (digits[0] >> 7) + digits)


def _number(content: bytes) -> bytes:
    value = int.from_bytes(content, "big")
    if value >> 256 or _integer(content)[2:] != content:
        raise Error("not a DER number of at most 32 bytes")
    return value.to_bytes(32, "big")


def _elements(der: bytes, *tags: int) -> List[bytes]:
    """The contents of elements with these tags, and nothing behind them."""
    contents = []
    for tag in tags:
        content, der = _split(der, tag)
        contents.append(content)
    if der:
        raise Error("more in the DER than expected")
    return contents


def _inside(der: Data) -> bytes:
    """The content of a single SEQUENCE."""
    return _elements(_bytes(der), 0x30)[0]


def _inside_key(der: Data) -> bytes:
    """The same of a key or certificate. The bound keeps the time short, which grows with the square of the length."""
    if memoryview(der).nbytes > 1 << 16:
        raise Error("a key or certificate has at most 65536 bytes")
    return _inside(der)


def _optional(der: bytes, tag: int) -> Tuple[Optional[bytes], bytes]:
    """Content of the first element if it has this tag, and what follows it."""
    return _split(der, tag) if der[:1] == bytes([tag]) else (None, der)


def _split(der: bytes, tag: int) -> Tuple[bytes, bytes]:
    """Content of the first element, and what follows it. Encoding it again must give the same bytes: that is DER."""
    size, start = (der[1], 2) if len(der) > 1 else (0, 2)
    if size & 0x80:
        start += size & 0x7F
        size = int.from_bytes(der[2:start], "big")
    content, rest = der[start : start + size], der[start + size :]
    if _tlv(tag, content) + rest != der:
        raise Error("not the expected DER")
    return content, rest
