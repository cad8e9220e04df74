"""Builds the resource section of a Windows DLL that holds one thing: its version."""
import struct

RESOURCE_VERSION = 16  # resource type
LANGUAGE = 0x0409  # English (United States)
CODE_PAGE_UTF16 = 1200
FIXED_SIGNATURE = 0xFEEF04BD
OS_WINDOWS_CE = 0x00040004  # VOS_NT_WINDOWS32; there is no value of its own for the device
FILE_TYPE_DLL = 2


def _padded(data):
    return data + bytes(-len(data) % 4)


def _block(key, value=b"", children=(), text=False):
    """One node of the version tree: length, value length, type, key, value, children."""
    name = key.encode("utf-16-le") + b"\0\0"
    value_length = len(value) // 2 if text else len(value)
    body = _padded(bytes(6) + name)[6:] + value
    for child in children:
        body = _padded(bytes(6) + body)[6:] + child
    return struct.pack("<HHH", 6 + len(body), value_length, int(text)) + body


def version_info(version, texts, file_type=FILE_TYPE_DLL):
    """VS_VERSIONINFO. version: (major, minor, patch); texts: name -> text."""
    major, minor, patch = version
    high, low = major << 16 | minor, patch << 16
    fixed = struct.pack("<13I", FIXED_SIGNATURE, 0x00010000, high, low, high, low, 0x3F, 0,
                        OS_WINDOWS_CE, file_type, 0, 0, 0)
    strings = [_block(name, text.encode("utf-16-le") + b"\0\0", text=True)
               for name, text in texts.items()]
    table = _block(f"{LANGUAGE:04x}{CODE_PAGE_UTF16:04x}", children=strings, text=True)
    translation = _block("Translation", struct.pack("<HH", LANGUAGE, CODE_PAGE_UTF16))
    return _block("VS_VERSION_INFO", fixed, [
        _block("StringFileInfo", children=[table], text=True),
        _block("VarFileInfo", children=[translation], text=True)])


def resource_section(info, section_rva):
    """Three directories with one entry each (type, name, language), a data entry, the data."""
    def directory(identifier, target, is_directory):
        return struct.pack("<IIHHHHII", 0, 0, 0, 0, 0, 1, identifier,
                           target | (0x80000000 if is_directory else 0))

    size = 24  # of a directory with one entry
    data_entry = 3 * size
    data = data_entry + 16
    return (directory(RESOURCE_VERSION, size, True) + directory(1, 2 * size, True) +
            directory(LANGUAGE, data_entry, False) +
            struct.pack("<4I", section_rva + data, len(info), 0, 0) + info)
