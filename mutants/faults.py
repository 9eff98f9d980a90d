"""One-line faults: what could go wrong in each line of a source."""

import collections
import hashlib
import re

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\\n|\\.)*)
      | (?P<string>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:[^"\\\n]|\\.)*")
      | (?P<char>'(?:[^'\\\n]|\\.)+')
      | (?P<number>\.?[0-9](?:[eEpP][+-]|'[0-9]|[\w.])*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|<=>|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\w\s])""",
    re.MULTILINE | re.DOTALL | re.VERBOSE)


class Token:
    def __init__(self, match, line, column):
        self.kind = match.lastgroup if match.lastgroup != "mark" else "string"
        self.text = match.group()
        self.line, self.column = line, column
        self.end = column + len(self.text)
        self.scope = None


def tokens_of(text):
    """The tokens of a source, without comments and directives; `scope` says what kind of braces they are in."""
    tokens, line, start, last = [], 0, 0, 0
    for match in TOKEN.finditer(text):
        newlines = text.count("\n", last, match.start())
        if newlines:
            line += newlines
            start = text.rfind("\n", 0, match.start()) + 1
        last = match.start()
        token = Token(match, line, match.start() - start)
        if token.kind not in ("comment", "directive"):
            tokens.append(token)
    scopes, head = ["namespace"], []
    for token in tokens:
        token.scope = scopes[-1]
        if token.text == "{":
            scopes.append(kind_of_braces(scopes[-1], head))
        elif token.text == "}" and len(scopes) > 1:
            scopes.pop()
        if token.text in ("{", "}", ";"):
            head = []
        else:
            head.append(token.text)
    return tokens


def functions_of(text):
    """The first and last line of each function of a source that is in no other one."""
    functions, first = [], None
    tokens = tokens_of(text)
    for token, following in zip(tokens, [*tokens[1:], tokens[-1]]):
        if token.scope == "function":
            functions[-1][1] = token.line
        elif token.text == "{" and following.scope == "function":
            functions.append([token.line if first is None else first, token.line])
            first = None
        elif token.text in ("{", "}", ";"):
            first = None
        elif first is None:
            # After members that are set in braces, the head of the same function goes on.
            first = functions.pop()[0] if token.text == "," and functions else token.line
    return functions


def kind_of_braces(outer, head):
    if outer == "function" and not {"struct", "class", "enum"} & set(head[:1]):
        return "function"
    if "enum" in head:
        return "enum"
    if "namespace" in head or head[:1] == ["extern"]:
        return "namespace"
    if {"class", "struct", "union"} & set(head) and "(" not in head:
        return "class"
    if not head or ")" in head:
        return "function"
    return "data"


# Lines in which nothing can go wrong at run time. Room set aside beforehand (reserve, shrink_to_fit) changes
# nothing but time, as do pauses; names and templates only compile or do not.
NOTHING_TO_BREAK = re.compile(
    r"^\s*(static_assert|assert|using|typedef|template|friend|extern|namespace|class \w+;|struct \w+;)\b"
    r"|\b(assert|reserve|shrink_to_fit|sleep_for)\(")

SWAPPED_SIGNS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"], "&&": ["||"], "||": ["&&"],
    "&": ["|"], "|": ["&"], "^": ["|"], "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="],
    "|=": ["&="], "&=": ["|="], "<<": [">>"], ">>": ["<<"],
}
SWAPPED_WORDS = {
    "true": "false", "false": "true", "min": "max", "max": "min", "floor": "ceil", "ceil": "floor",
    "lower_bound": "upper_bound", "upper_bound": "lower_bound", "sin": "cos", "cos": "sin",
    "any_of": "all_of", "all_of": "any_of", "none_of": "any_of", "front": "back", "back": "front",
}
# Sizes of arrays: most that are larger change nothing, those that are smaller are for the sanitizers.
SIZE = re.compile(r"\w[>&*]? \w+((\[\w+\])+)(?= =|;|,|\)|\{)|\barray<.*?, \d+>")
# Functions whose arguments may stand in any order.
COMMUTATIVE = {"min", "max", "swap", "hypot", "gcd"}

BEFORE_A_SIGN = ("(", ",", "=", "return", "?", ":", "{", "*", "/", "+")
AFTER_A_WORD = ("(", ";", ")", ",", "", "}", ":", "?", "&&", "||", "==")

# What a statement that can be left out looks like: an assignment, a call, a jump, a step.
PLACE = r"\*?(?:this->)?[A-Za-z_][\w:]*(?:(?:\.|->)\w+|\[[^\]=]*\]|\([^()]*\)(?=\.|->|\[))*"
STATEMENT = re.compile(
    rf"^(?:{PLACE}\s+(?:[-+*/%&|^]|<<|>>)?=\s.*|{PLACE}(?:<[\w:, ]+>)?\(.*\)|(?:\+\+|--){PLACE}|{PLACE}(?:\+\+|--)"
    r"|break|continue|return);$")
NO_CALL = re.compile(r"^(if|for|while|switch|return|throw|delete|static_cast<void>|sizeof|catch)\b\s*\(")


def edit(line, *changes):
    """The line with (start, end, text) put in."""
    for start, end, text in sorted(changes, reverse=True):
        line = line[:start] + text + line[end:]
    return line


def number_changes(text):
    digits = text.rstrip("uUlLfF") if not text.startswith(("0x", "0X")) else text.rstrip("uUlL")
    suffix = text[len(digits):]
    try:
        if re.fullmatch(r"[0-9']+", digits):
            value = int(digits.replace("'", ""))
            return [str(value + 1) + suffix] + ([str(value - 1) + suffix] if value else [])
        if re.fullmatch(r"0[xX][0-9a-fA-F']+", digits):
            return [hex(int(digits.replace("'", ""), 16) ^ bit) + suffix for bit in (1, 4)]
        value = float(digits.replace("'", ""))
    except ValueError:
        return []
    if value in (0.0, 1.0):
        return [repr(1.0 - value) + suffix]
    # Limits that guard against rounding have to move far for anything to follow.
    return [repr(value * 1000 if value < 0.01 else value + 1) + suffix]


def depth_of(tokens):
    """How many more brackets are opened than closed."""
    return sum((token.text in "([{") - (token.text in ")]}") for token in tokens)


def closing(tokens, opening):
    ends = (end for end in range(opening, len(tokens)) if depth_of(tokens[opening:end + 1]) == 0)
    return next(ends, None)


def split(tokens, first, last, sign):
    """The parts of tokens[first:last] between top-level signs, as (first, last); none where <> make it unclear."""
    signs = [index for index in range(first, last)
             if tokens[index].text == sign and depth_of(tokens[first:index]) == 0]
    return list(zip([first, *(index + 1 for index in signs)], [*signs, last]))


def exchange(line, tokens, *parts):
    """The changes that put two parts of a line in each other's place."""
    one, other = [(tokens[first].column, tokens[last - 1].end) for first, last in parts]
    return (*one, line[slice(*other)]), (*other, line[slice(*one)])


def line_mutations(line, tokens, before):
    """All (kind, new line) for a line; `before` is the token in front of it."""
    found = []

    def add(kind, *changes):
        new = edit(line, *changes)
        if new != line:
            found.append((kind, new))

    text = line.strip()
    in_for = text.startswith("for ")
    sizes = [match.span() for match in SIZE.finditer(line)]
    has_string = any(token.kind == "string" for token in tokens)
    for index, token in enumerate(tokens):
        spaced = line[:token.column].endswith(" ") and line[token.end:token.end + 1] in (" ", "")
        previous = tokens[index - 1].text if index else before
        following = tokens[index + 1].text if index + 1 < len(tokens) else ""
        if token.kind == "sign" and spaced and token.text in SWAPPED_SIGNS:
            if has_string and token.text in ("+", "+=", "<<", ">>"):
                continue
            if token.text in ("<", ">") and "template" in text:
                continue
            for new in SWAPPED_SIGNS[token.text]:
                add("operator", (token.column, token.end, new))
        elif token.text == "!" and following not in ("=", ""):
            add("negation", (token.column, token.end, ""))
        elif token.text == "-" and not spaced and previous in BEFORE_A_SIGN:
            add("sign", (token.column, token.end, ""))
        elif token.text in ("++", "--") and not in_for:
            add("operator", (token.column, token.end, "--" if token.text == "++" else "++"))
        elif token.kind == "word" and token.text in SWAPPED_WORDS and following in AFTER_A_WORD:
            add("word", (token.column, token.end, SWAPPED_WORDS[token.text]))
        elif token.kind == "number" and not any(first <= token.column < last for first, last in sizes):
            for new in number_changes(token.text):
                add("constant", (token.column, token.end, new))
        elif token.text == "if" and following == "(":
            end = closing(tokens, index + 1)
            if end and not {";", "="} & {part.text for part in tokens[index + 1:end]}:
                first, last = tokens[index + 1].end, tokens[end].column
                add("condition", (first, first, "!("), (last, last, ")"))
        elif token.text == "?":
            rest = next((i for i in range(index + 1, len(tokens)) if depth_is_left(tokens, index + 1, i)), len(tokens))
            parts = split(tokens, index + 1, rest, ":")
            if len(parts) == 2 and all(first < last for first, last in parts):
                add("choice", *exchange(line, tokens, *parts))
        if token.text == "(" and token.scope == "function" and index and tokens[index - 1].kind == "word":
            if tokens[index - 1].text in COMMUTATIVE | {"if", "for", "while", "switch", "return"}:
                continue
            end = closing(tokens, index)
            parts = split(tokens, index + 1, end, ",") if end else []
            for left, right in zip(parts, parts[1:]):
                if left[0] < left[1] and right[0] < right[1]:
                    kinds = {tokens[first].kind == "string" for first, _ in (left, right)}
                    if len(kinds) == 2 or "[" in (tokens[left[0]].text, tokens[right[0]].text):
                        continue  # of different types
                    add("arguments", *exchange(line, tokens, left, right))
    if (tokens[0].scope == "function" and before in (";", "{", "}", ")", ":", "else") and STATEMENT.match(text)
            and not NO_CALL.match(text) and sum(token.text == ";" for token in tokens) == 1
            and depth_of(tokens) == 0):
        add("statement", (tokens[0].column, tokens[-1].end, ";"))
    return found


def depth_is_left(tokens, first, index):
    depth = depth_of(tokens[first:index + 1])
    return depth < 0 or (depth == 0 and tokens[index].text in (";", ","))


class Mutant(collections.namedtuple("Mutant", "room path number old kind new key")):
    def where(self):
        return f"{self.path}:{self.number + 1}"


def hashed(*parts):
    return hashlib.sha256("\0".join(map(str, parts)).encode()).hexdigest()


def mutants_of(room, path, text, seed):
    """One mutant for each line that has any, chosen by the seed and the line's text."""
    lines = text.split("\n")
    by_line, before, previous = collections.defaultdict(list), {}, ""
    for token in tokens_of(text):
        if token.line not in before:
            before[token.line] = previous
        by_line[token.line].append(token)
        previous = token.text
    seen = collections.Counter()
    for number, tokens in sorted(by_line.items()):
        line = lines[number]
        if tokens[0].scope == "enum" or NOTHING_TO_BREAK.search(line) or any(t.end > len(line) for t in tokens):
            continue
        found = line_mutations(line, tokens, before[number])
        if not found:
            continue
        seen[line.strip()] += 1
        key = hashed(seed, path, line.strip(), seen[line.strip()])
        # First the kind and then the place, or else most would be constants.
        kinds = sorted({kind for kind, _ in found})
        kind = kinds[int(key[:8], 16) % len(kinds)]
        choices = [new for one, new in found if one == kind]
        new = choices[int(key[8:16], 16) % len(choices)]
        yield Mutant(room, path, number, line, kind, new, hashed("order", key)[:16])
