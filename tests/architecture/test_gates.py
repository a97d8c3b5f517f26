#!/usr/bin/env python3
"""Every gate can fail: each is shown a small tree that is right and the same tree with one thing
wrong."""
import contextlib
import io
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import check_documentation
import check_exports
import check_headers
import check_layers
import check_lines
import check_registration

HERE = Path(__file__).resolve().parent
sys.path.append(str(HERE.parents[1] / "cmake"))

import reference_filter  # noqa: E402


class Tree(unittest.TestCase):
    def setUp(self):
        self.root = Path(tempfile.mkdtemp(prefix="cry-gates-")).resolve()
        self.addCleanup(shutil.rmtree, self.root)

    def write(self, path, text):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        return file


class Exports(Tree):
    def setUp(self):
        super().setUp()
        source = self.write("x.c", "void pbOne( void ) {}\nvoid pbTwo( void ) {}\nstatic void pbThree( void ) {}\nvoid *keep = (void *)pbThree;\n")
        subprocess.run(["gcc", "-shared", "-fPIC", "-o", self.root / "libpb.so", source], check=True)

    def check(self, names, reference=None, library="pb"):
        self.write(f"source/{library}/exports.txt", names)
        return check_exports.check(self.root, self.root, reference)

    def test_takes_the_exact_list(self):
        self.assertEqual(self.check("keep\npbOne\npbTwo\n"), [])

    def test_finds_a_name_that_is_not_exported(self):
        self.assertEqual(
            self.check("keep\npbOne\npbThree\npbTwo\n"), ["source/pb/exports.txt:3: pbThree is listed, but libpb.so does not export it"]
        )

    def test_finds_a_name_that_is_not_listed(self):
        self.assertEqual(self.check("keep\npbOne\n"), ["source/pb/exports.txt: libpb.so exports pbTwo, which is not listed"])

    def test_finds_a_name_that_is_listed_twice(self):
        self.assertEqual(self.check("keep\npbOne\npbTwo\npbOne\n")[0], "source/pb/exports.txt:4: pbOne is listed twice")

    def test_finds_a_library_that_is_missing(self):
        self.assertIn("source/rfc/exports.txt: there is no ", self.check("rfcOne\n", library="rfc")[0])

    def test_finds_a_tree_without_lists(self):
        self.assertIn("no library has an exports.txt", check_exports.check(self.root, self.root)[0])

    def test_holds_cry_against_a_reference_list(self):
        (self.root / "libpb.so").rename(self.root / "libcry.so")
        reference = self.write("reference.txt", "keep\npbOne\nmore\n")
        errors = self.check("keep\npbOne\npbTwo\n", reference, "cry")
        self.assertEqual(errors, [f"source/cry/exports.txt:3: pbTwo is not in {reference}"])
        self.assertEqual(self.check("keep\npbOne\npbTwo\n", None, "cry"), [])


class Registration(Tree):
    BASE = """
#define PB_EXPORT __attribute__( ( visibility( "default" ) ) )
typedef struct PB_OBJ PB_OBJ;
typedef struct PB_SORT PB_SORT;
typedef struct PB_MODULE PB_MODULE;
"""

    def setUp(self):
        super().setUp()
        self.write("include/pb/pb_base.h", self.BASE)
        self.write("include/rfc/rfc_one.h", "#include <pb/pb_base.h>\nPB_EXPORT int rfcOne( void );\nint rfcHidden( void );\n")
        self.write("include/rfc/rfc.h", "#include <pb/pb_base.h>\n#include <rfc/rfc_one.h>\n")
        self.write("source/rfc/exports.txt", "rfcOne\n")

    def check(self):
        return check_registration.check(self.root)

    def test_takes_lists_that_are_right(self):
        self.assertEqual(self.check(), [])

    def test_finds_a_function_that_is_not_listed(self):
        self.write("include/rfc/internal/rfc_two.h", "#include <pb/pb_base.h>\nPB_EXPORT int rfc___Two(\n    int ( *f )( void ) );\n")
        self.assertEqual(self.check(), ["source/rfc/exports.txt: lacks rfc___Two"])

    def test_finds_a_function_that_a_macro_declares(self):
        text = "#include <pb/pb_base.h>\n#define MAKE( Name ) PB_EXPORT void rfc___##Name( void )\nMAKE( Three );\n"
        self.write("include/rfc/internal/rfc_three.h", text)
        self.assertEqual(self.check(), ["source/rfc/exports.txt: lacks rfc___Three"])

    def test_finds_a_name_that_no_header_declares(self):
        self.write("source/rfc/exports.txt", "rfcNone\nrfcOne\n")
        self.assertEqual(self.check(), ["source/rfc/exports.txt: has rfcNone, which no header calls for"])

    def test_finds_another_order_and_a_name_that_is_listed_twice(self):
        self.write("include/rfc/rfc_one.h", "#include <pb/pb_base.h>\nPB_EXPORT int rfcOne( void );\nPB_EXPORT int rfcAll( void );\n")
        self.write("source/rfc/exports.txt", "rfcOne\nrfcAll\n")
        self.assertEqual(self.check(), ["source/rfc/exports.txt: is in another order"])
        self.write("source/rfc/exports.txt", "rfcAll\nrfcOne\nrfcOne\n")
        self.assertEqual(self.check(), ["source/rfc/exports.txt: is in another order, or holds a line twice"])

    def test_knows_the_objects_of_types_and_modules(self):
        text = """#include <pb/pb_base.h>
typedef struct RFC_ONE RFC_ONE;
PB_EXPORT const PB_SORT *rfcOneSort( void );
PB_EXPORT RFC_ONE *rfcOneFrom( PB_OBJ *obj );
PB_EXPORT const PB_MODULE *rfcModule( void );
"""
        self.write("include/rfc/rfc_one.h", text)
        names = "rfcModule rfcOneFrom rfcOneSort rfc___module rfc___module_record rfc___module_version_string rfc___sort_RFC_ONE"
        self.write("source/rfc/exports.txt", "".join(f"{name}\n" for name in names.split()))
        self.assertEqual(self.check(), [])

    def test_finds_a_header_that_the_umbrella_lacks(self):
        self.write("include/rfc/rfc_two.h", "")
        self.assertEqual(self.check(), ["include/rfc/rfc.h: lacks #include <rfc/rfc_two.h>"])

    def test_update_writes_the_lists(self):
        self.write("include/rfc/rfc_two.h", "#include <pb/pb_base.h>\nPB_EXPORT int rfcTwo( void );\n")
        with contextlib.redirect_stdout(io.StringIO()):
            self.assertEqual(check_registration.check(self.root, update=True), [])
        self.assertEqual((self.root / "source/rfc/exports.txt").read_text(), "rfcOne\nrfcTwo\n")
        includes = "".join(f"#include <{header}.h>\n" for header in ("pb/pb_base", "rfc/rfc_one", "rfc/rfc_two"))
        self.assertEqual((self.root / "include/rfc/rfc.h").read_text(), includes)
        self.assertEqual(self.check(), [])

    def test_finds_a_tree_without_lists(self):
        (self.root / "source/rfc/exports.txt").unlink()
        self.assertIn("no library has an exports.txt", self.check()[0])


class Headers(Tree):
    def check(self, path, text):
        self.write(path, text)
        return check_headers.check(self.root)[0]

    def test_takes_a_header_for_both_languages(self):
        self.assertEqual(self.check("include/pb/good.h", "#include <stddef.h>\nsize_t good( void );\n"), [])

    def test_takes_cplusplus_in_a_cplusplus_header_only(self):
        self.assertEqual(self.check("include/pb/good.hpp", "#include <vector>\ninline std::vector<int> good() { return {}; }\n"), [])
        errors = self.check("include/pb/bad.h", "#include <vector>\n")
        self.assertTrue(errors[0].startswith("include/pb/bad.h: does not compile alone as c11 with gcc:"))

    def test_finds_a_header_that_needs_another(self):
        errors = self.check("include/pb/bad.h", "size_t bad( void );\n")
        self.assertTrue(any(error.startswith("include/pb/bad.h: does not compile alone as c11 with gcc:") for error in errors), errors)
        self.assertTrue(any(error.startswith("include/pb/bad.h: does not compile alone as c++20 with g++:") for error in errors), errors)

    def test_finds_what_only_cplusplus_refuses(self):
        errors = self.check("include/pb/bad.h", "int class;\n")
        self.assertTrue(errors[0].startswith("include/pb/bad.h: does not compile alone as c++20 with g++:"), errors)

    def test_finds_an_extension_of_the_compiler(self):
        self.assertTrue(self.check("include/pb/bad.h", "struct empty {};\n"))

    def test_compiles_internal_headers(self):
        errors = self.check("include/pb/internal/bad.h", "size_t bad( void );\n")
        self.assertTrue(errors[0].startswith("include/pb/internal/bad.h: does not compile alone"), errors)

    def test_finds_openssl_behind_a_public_header(self):
        if subprocess.run(["gcc", "-E", "-"], input="#include <openssl/evp.h>\n", capture_output=True, text=True, check=False).returncode:
            self.skipTest("OpenSSL's headers are not here")
        text = "#include <openssl/evp.h>\ntypedef EVP_MD cry_unused;\n"
        self.assertEqual(self.check("include/cry/internal/inner.h", text), [])
        errors = self.check("include/cry/outer.h", "#include <cry/internal/inner.h>\n")
        self.assertEqual(len(errors), 1, errors)
        self.assertTrue(errors[0].startswith("include/cry/outer.h: a public header brings in OpenSSL's "), errors)

    def test_takes_an_example_that_compiles(self):
        example = "/* One.\n\n   Example:\n\n       #include <string.h>\n\n       size_t two( void )\n       {\n"
        example += "           return strlen( one );\n       }\n*/\n"
        self.assertEqual(self.check("include/pb/good.h", example + "#include <stddef.h>\nextern const char *one;\n"), [])

    def test_finds_an_example_that_does_not_compile(self):
        for wrong in ("int two( void ) { return one(); }", "int two( void ) { int class = 1; return class; }", "int two( void ) {}"):
            errors = self.check("include/pb/bad.h", f"/* One.\n   Example:\n       {wrong}\n*/\nint zero( void );\n")
            self.assertTrue(errors and errors[0].startswith("include/pb/bad.h:3: the example does not compile as "), errors)

    def test_finds_a_family_without_an_example(self):
        self.assertEqual(self.check("include/cry/cry_hash.h", "int one( void );\n"), ["include/cry/cry_hash.h: has no example"])

    def test_finds_a_tree_without_headers(self):
        self.assertIn("no headers", check_headers.check(self.root)[0][0])


class Documentation(unittest.TestCase):
    def errors(self, text):
        return check_documentation.check_text(text)[0]

    def test_takes_a_comment_that_names_the_function(self):
        self.assertEqual(self.errors("/* pbOne: one. */\nPB_EXPORT PB_INT pbOne( void );\n"), [])
        self.assertEqual(self.errors("// pbOne: one,\n// or two.\nPB_EXPORT PB_INT pbOne(\n    PB_INT ( *f )( void ) );\n"), [])

    def test_takes_a_run_of_declarations(self):
        self.assertEqual(self.errors("/* pbOne, pbTwo: both. */\nPB_EXPORT PB_INT pbOne( void );\nPB_EXPORT PB_INT pbTwo( void );\n"), [])

    def test_takes_a_list(self):
        text = "/* pbVectorSort/Obj/ToString: as always. */\n"
        self.assertEqual(self.errors(text + "PB_EXPORT int pbVectorSort( void );\nPB_EXPORT int pbVectorObj( void );\n"), [])
        self.assertEqual(self.errors(text + "PB_EXPORT int pbVectorToString( void );\n"), [])
        for other in ("pbVectorFrom", "pbDictObj", "pbObj", "pbVecObj", "pbVectorSortObj"):
            self.assertEqual(self.errors(text + f"PB_EXPORT int {other}( void );\n"), [(2, f"the comment above {other} does not name it")])

    def test_counts_functions_and_not_data(self):
        text = "PB_EXPORT const PB_SORT pb___sort_PB_OBJ;\n#define MAKE( name ) \\\n    PB_EXPORT int name( void );\n"
        self.assertEqual(check_documentation.check_text(text), ([], 0))

    def test_takes_a_family_whose_macro_is_named(self):
        macro = "#define PAIR( Name ) \\\n    PB_EXPORT void pb##Name##One( void ); \\\n    PB_EXPORT void pb##Name##Two( void )\n"
        self.assertEqual(check_documentation.check_text(macro + "/* PAIR: two. */\nPAIR( A );\nPAIR( B );\n"), ([], 2))
        self.assertEqual(self.errors(macro + "/* Two. */\nPAIR( A );\n"), [(5, "the comment above PAIR does not name it")])
        self.assertEqual(self.errors(macro + "PAIR( A );\n"), [(4, "PAIR has no comment directly above its run of declarations")])

    def test_finds_a_function_without_a_comment(self):
        self.assertEqual(self.errors("\nPB_EXPORT PB_INT pbOne( void );\n"), [(2, "pbOne has no comment directly above its run of declarations")])

    def test_finds_a_comment_that_stands_apart(self):
        missing = [(3, "pbOne has no comment directly above its run of declarations")]
        self.assertEqual(self.errors("/* pbOne: one. */\n\nPB_EXPORT PB_INT pbOne( void );\n"), missing)
        self.assertEqual(self.errors("/* pbOne: one. */\ntypedef int ONE;\nPB_EXPORT PB_INT pbOne( void );\n"), missing)

    def test_finds_a_comment_that_names_another_function(self):
        text = "/* pbOnes: ones. */\nPB_EXPORT PB_INT pbOne( void );\n"
        self.assertEqual(self.errors(text), [(2, "the comment above pbOne does not name it")])

    def test_finds_a_function_that_returns_a_handler(self):
        text = "PB_NORETURN PB_EXPORT HANDLER pbSet( HANDLER handler );\n"
        self.assertEqual(self.errors(text), [(1, "pbSet has no comment directly above its run of declarations")])


class DocumentationOfATree(Tree):
    def test_names_the_file(self):
        self.write("include/pb/x.h", "PB_EXPORT PB_INT pbOne( void );\n")
        errors, count = check_documentation.check(self.root)
        self.assertEqual(errors, ["include/pb/x.h:1: pbOne has no comment directly above its run of declarations"])
        self.assertEqual(count, 1)

    def test_finds_a_tree_without_functions(self):
        (self.root / "include").mkdir()
        self.assertIn("no exported functions", check_documentation.check(self.root)[0][0])


class LayersOfATree(Tree):
    RULES = """
        external libcrypto: openssl/*
        library pb:
        library openssl: pb libcrypto
        library cry: pb openssl libcrypto   # everything
        folder openssl: openssl_module
        layer cry base: source/cry/base/* include/cry/cry_pem.h
        layer cry x509: source/cry/x509/* include/cry/*cry_x509*
        layer cry stack: source/cry/x509/cry_x509_stack*
        layer cry stack: include/cry/cry_x509_stack*
    """

    def setUp(self):
        super().setUp()
        self.write("tests/architecture/layers.txt", self.RULES)
        self.write("include/pb/pb.h", "#include <stddef.h>\n")
        self.write("include/openssl_module/openssl_module.h", "#include <pb/pb.h>\n")
        self.write("source/openssl/secret.hpp", "#include <openssl/evp.h>\n")
        self.write("include/cry/cry_pem.h", "#include <pb/pb.h>\n")
        self.write("include/cry/cry_x509_certificate.h", "#include <cry/cry_pem.h>\n")
        self.write("include/cry/cry_x509_stack.h", "#include <cry/cry_x509_certificate.h>\n")
        self.write("source/cry/base/own.hpp", "#include <openssl_module/openssl_module.h>\n#include <openssl/evp.h>\n")
        self.write("source/cry/x509/cry_x509_certificate.cpp", '#include "base/own.hpp"\n#include <cry/cry_x509_certificate.h>\n')
        self.write("source/cry/x509/cry_x509_stack.cpp", '#include <cry/cry_x509_stack.h>\n#include "base/own.hpp"\n')

    def expect(self, path, text, *errors):
        self.write(path, text)
        self.assertEqual(check_layers.check(self.root)[0], list(errors))

    def test_takes_what_stands_below(self):
        self.assertEqual(check_layers.check(self.root), ([], 9))

    def test_takes_files_of_one_layer(self):
        self.expect("source/cry/x509/cry_x509_session.cpp", '#include "cry_x509_own.hpp"\n#include "x509/cry_x509_own.hpp"\n', *self.missing())
        self.expect("source/cry/x509/cry_x509_own.hpp", "")

    @staticmethod
    def missing():
        place = "source/cry/x509/cry_x509_session.cpp"
        return [
            f"{place}:1: {place} includes cry_x509_own.hpp, which is not there",
            f"{place}:2: {place} includes x509/cry_x509_own.hpp, which is not there",
        ]

    def test_finds_a_library_that_includes_one_it_does_not_depend_on(self):
        self.expect(
            "source/pb/x.cpp",
            "\n#include <cry/cry_pem.h>\n",
            "source/pb/x.cpp:2: source/pb/x.cpp of library pb includes include/cry/cry_pem.h of library cry, on which pb does not depend",
        )

    def test_finds_what_another_library_keeps_to_itself(self):
        self.expect(
            "source/cry/base/x.cpp",
            '#include "../../openssl/secret.hpp"\n',
            "source/cry/base/x.cpp:1: source/cry/base/x.cpp of library cry includes source/openssl/secret.hpp, which library openssl keeps to itself",
        )

    def test_finds_an_include_of_a_layer_above(self):
        self.expect(
            "source/cry/base/x.cpp",
            "#include <cry/cry_x509_certificate.h>\n",
            "source/cry/base/x.cpp:1: source/cry/base/x.cpp of layer base"
            " includes include/cry/cry_x509_certificate.h of layer x509, which stands above it",
        )
        (self.root / "source/cry/base/x.cpp").unlink()
        self.expect(
            "source/cry/x509/x.cpp",
            "# include <cry/cry_x509_stack.h>\n",
            "source/cry/x509/x.cpp:1: source/cry/x509/x.cpp of layer x509"
            " includes include/cry/cry_x509_stack.h of layer stack, which stands above it",
        )

    def test_finds_a_file_without_a_layer(self):
        self.expect("source/cry/new/x.cpp", "", "source/cry/new/x.cpp: fits no layer of library cry in layers.txt")

    def test_finds_a_file_without_a_library(self):
        self.expect("source/new/x.cpp", "", "source/new/x.cpp: belongs to no library of layers.txt")

    def test_finds_an_external_library_in_the_wrong_place(self):
        self.expect(
            "source/pb/x.cpp",
            "#include <openssl/evp.h>\n",
            "source/pb/x.cpp:1: source/pb/x.cpp of library pb includes openssl/evp.h of libcrypto, which pb does not use",
        )

    def test_finds_an_installed_header_that_needs_a_source_file(self):
        self.expect(
            "include/cry/cry_pem.h",
            '#include "../../source/cry/base/own.hpp"\n',
            "include/cry/cry_pem.h:1: include/cry/cry_pem.h is installed, but includes source/cry/base/own.hpp, which is not",
        )

    def test_finds_a_header_of_the_family_that_is_not_there(self):
        self.expect("source/pb/x.cpp", "#include <pb/none.h>\n", "source/pb/x.cpp:1: source/pb/x.cpp includes pb/none.h, which is not there")

    def test_finds_a_rule_that_is_none(self):
        self.expect("tests/architecture/layers.txt", "library pb:\nlayer cry: x\n", "tests/architecture/layers.txt:2: not a rule: layer cry: x")


class Reference(unittest.TestCase):
    HEAD = "/* Ones. */\n#ifndef PB_X_H\n#define PB_X_H\n"

    def filtered(self, text):
        return reference_filter.filtered(self.HEAD + text)[len("/** @file\nOnes. */\n#ifndef PB_X_H\n#define PB_X_H\n") :]

    def test_gives_a_comment_to_each_declaration_of_its_run(self):
        self.assertEqual(
            self.filtered("/* pbOne, pbTwo: some\n   text. */\nint pbOne( void );\nint pbTwo(\n    void );\n\nint pbThree( void );\n"),
            "/** Some text. */\nint pbOne( void );\n/** Some text. */\nint pbTwo(\n    void );\n\nint pbThree( void );\n",
        )

    def test_gives_a_comment_at_the_end_of_a_line_to_the_line(self):
        self.assertEqual(self.filtered("typedef int A; /* one */\n"), "/** One */\ntypedef int A; /* one */\n")
        self.assertEqual(
            self.filtered("/* A: a. */\nstruct A\n{\n    int b; /* one */\n    int c;\n};\n"),
            "/** A. */\nstruct A\n{\n    int b; /**< One */\n    int c;\n};\n",
        )

    def test_lets_the_values_of_an_enumeration_speak_for_themselves(self):
        self.assertEqual(
            self.filtered("typedef PB_INT A;\n\n#define A_ONE ( (A)1 ) /* old */\n#define A_TWO ( (B)1 )\n#define A_OK( value ) 1\n"),
            "/** Ones. */\ntypedef PB_INT A;\n\n/** A value of A: 1. Old. */\n#define A_ONE ( (A)1 ) /* old */\n#define A_TWO ( (B)1 )\n"
            "/** Whether a number is a value of A. */\n#define A_OK( value ) 1\n",
        )

    def test_keeps_the_lines_of_an_example(self):
        self.assertEqual(
            self.filtered("/* a: a.\n\n   Example:\n\n       int b = a;\n           b++;\n*/\nint a;\n"),
            "/** A.\n@code{.c}\nint b = a;\n    b++;\n@endcode\n */\nint a;\n",
        )

    def test_keeps_marks_of_the_text_from_doxygen(self):
        self.assertEqual(self.filtered("/* a `b->c` \\n #x ::y @z */\nint a;\n"), "/** A <code>b-\\>c</code> \\\\n \\#x \\::y \\@z */\nint a;\n")

    def test_keeps_a_comment_that_stands_alone_for_the_file(self):
        self.assertEqual(self.filtered("/* Of all. */\n\nint a;\n"), "/** @file\nOf all. */\n\nint a;\n")


class Lines(Tree):
    def lines(self, path, text):
        """The numbers of the lines that are too long."""
        return [number for number, _ in check_lines.check_text(Path(path), text)]

    def test_takes_lines_of_the_full_length(self):
        self.assertEqual(self.lines("x.cpp", "// " + "x" * 97 + "\n" + "x" * 150 + "\n"), [])
        self.assertEqual(self.lines("x.py", "# " + "x" * 98 + "\n" + "x" * 150 + "\n"), [])

    def test_finds_longer_lines(self):
        self.assertEqual(self.lines("x.cpp", "// " + "x" * 98 + "\n" + "x" * 151 + "\n"), [1, 2])
        for name in ("x.py", "x.sh", "x.cmake", "CMakeLists.txt"):
            self.assertEqual(self.lines(name, "# " + "x" * 99 + "\n" + "x" * 151 + "\n"), [1, 2], name)

    def test_knows_the_languages_of_scripts(self):
        self.assertEqual(self.lines("run", "#!/usr/bin/env bash\n# " + "x" * 99 + "\n"), [2])
        self.assertEqual(self.lines("run", "#!/usr/bin/env python3\n# " + "x" * 99 + "\n"), [2])
        self.assertEqual(self.lines("notes.md", "x" * 200), [])

    def test_knows_comments_of_several_lines(self):
        long = "x" * 101
        self.assertEqual(self.lines("x.h", f"/* one\n{long}\n*/\n{long}\n"), [2])
        self.assertEqual(self.lines("x.py", f'def f():\n    """One.\n\n    {long}\n    """\n    return """\n{long}"""\n'), [4])

    def test_knows_code_beside_comments_and_comments_in_texts(self):
        blanks = " " * 90
        self.assertEqual(self.lines("x.cpp", f"int x; {blanks} // one\n{blanks}/* two */ int y;\n"), [])
        self.assertEqual(self.lines("x.cpp", f'const char *x = "/*";\nint {"y" * 100};\nconst char *z = "*/";\n'), [])
        self.assertEqual(self.lines("x.cpp", f'auto x = R"(\n// {"y" * 100}\n)";\n'), [])
        self.assertEqual(self.lines("x.py", f'x = """\n# {"y" * 100}\n"""\n'), [])

    def test_checks_files_that_git_knows_or_will(self):
        subprocess.run(["git", "init", "--quiet", self.root], check=True)
        self.write(".gitignore", "build/\n")
        self.write("build/x.cpp", "x" * 200)
        self.write("source/x.cpp", "x\n" + "y" * 151)
        self.assertEqual(check_lines.check(self.root), (["source/x.cpp:2: 151 columns of code, 150 are the most"], 1))

    def test_tells_long_subjects(self):
        git = ["git", "-C", self.root, "-c", "user.name=x", "-c", "user.email=x"]
        subprocess.run([*git, "init", "--quiet"], check=True)
        for length in (73, 72):
            subprocess.run([*git, "commit", "--quiet", "--allow-empty", "-m", "x" * length], check=True)
        self.assertEqual([line.split()[1] for line in check_lines.long_subjects(self.root)], ["x" * 73])


@unittest.skipUnless(shutil.which("clang-format-16") and shutil.which("git"), "clang-format-16 or git is not here")
class Format(Tree):
    def setUp(self):
        super().setUp()
        subprocess.run(["git", "init", "--quiet", self.root], check=True)
        self.write(".clang-format", "BasedOnStyle: LLVM\n")
        self.write(".gitignore", "build/\n")
        self.write("good.cpp", "int good() { return 1; }\n")

    def run_gate(self):
        return subprocess.run([HERE / "check_format.sh", self.root], capture_output=True, text=True, check=False)

    def test_takes_well_formed_files(self):
        self.write("build/ignored.cpp", "int   bad( ) ;\n")
        self.write("notes.txt", "int   bad( ) ;\n")
        result = self.run_gate()
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_finds_a_file_in_another_form(self):
        for name in ("bad.cpp", "bad.hpp", "bad.h", "bad.c"):
            self.write(f"below/{name}", "int   bad( ) ;\n")
            result = self.run_gate()
            self.assertEqual(result.returncode, 1)
            self.assertIn(f"below/{name}:1:", result.stderr)
            (self.root / "below" / name).unlink()

    def test_finds_a_tracked_file_too(self):
        self.write("bad.cpp", "int   bad( ) ;\n")
        subprocess.run(["git", "-C", self.root, "add", "bad.cpp"], check=True)
        self.assertEqual(self.run_gate().returncode, 1)

    def test_passes_over_a_file_that_was_removed(self):
        removed = self.write("removed.cpp", "int removed;\n")
        subprocess.run(["git", "-C", self.root, "add", "removed.cpp"], check=True)
        removed.unlink()
        self.assertEqual(self.run_gate().returncode, 0)


if __name__ == "__main__":
    unittest.main()
