"""Texts that are not domain names, and the reasons that all commands give."""

CHARACTER = "has a character that is no letter, digit, hyphen, low line or asterisk"

# A reason may go on.
BAD = [
    ("a.b,DNS:evil.example", f"label 2: {CHARACTER}"),
    ("a.b, DNS:evil.example", f"label 2: {CHARACTER}"),
    ("a b.c", f"label 1: {CHARACTER}"),
    (" a.b", f"label 1: {CHARACTER}"),
    ("a.b ", f"label 2: {CHARACTER}"),
    ("DNS:a.b", f"label 1: {CHARACTER}"),
    ("a.b/CN=c", f"label 2: {CHARACTER}"),
    ("a.b\nDNS:c", f"label 2: {CHARACTER}"),
    ("a.b\n", f"label 2: {CHARACTER}"),
    ("a\r.b", f"label 1: {CHARACTER}"),
    ("@section", f"label 1: {CHARACTER}"),
    ("a@b.c", f"label 1: {CHARACTER}"),
    ("$ENV::HOME", f"label 1: {CHARACTER}"),
    ("email:copy", f"label 1: {CHARACTER}"),
    ("a;b.c", f"label 1: {CHARACTER}"),
    ("a\\,b.c", f"label 1: {CHARACTER}"),
    ('"a.b"', f"label 1: {CHARACTER}"),
    ("\x1b[2J.b", f"label 1: {CHARACTER}"),
    ("192.0.2.1.", "it is an IP address"),
    ("１９２.0.2.1", "it is an IP address"),
    ("", "label 1: is empty"),
    (".", "label 1: is empty"),
    ("a..b", "label 2: is empty"),
    (".a", "label 1: is empty"),
    ("a..", "label 2: is empty"),
    ("a." + "b" * 64, "label 2: has more than 63 characters in ASCII form"),
    ("a.-b", "label 2: begins or ends with a hyphen"),
    ("a.b-", "label 2: begins or ends with a hyphen"),
    ("a." * 126 + "bc", "it has more than 253 characters in ASCII form"),
    ("a.xn--", "label 2: "),
    ("a.xn--\u00fc", "label 2: "),
    ("a.\u202eb", "label 2: "),
    ("a.\u0301b", "label 2: "),
    # These become a comma, a colon, a slash and full stops where IDNA maps them.
    ("a\uff0cDNS\uff1ab.c", "label 1: "),
    ("a\uff1ab", "label 1: "),
    ("a.\u2100", "label 2: "),
    ("a\u2024b.c", "label 1: "),
    ("a\ufe52b", "label 1: "),
]

# The same for texts that are IP addresses.
ADDRESSES = [
    ("[::1]", f"label 1: {CHARACTER}"),
    ("::1", f"label 1: {CHARACTER}"),
    ("192.0.2.1", "it is an IP address"),
]
