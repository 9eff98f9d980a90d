import { type Command, type Commands, shownKey } from "./commands";
import { openDialog } from "./dialog";
import { h } from "./dom";

/** What the mouse does, which is in no command. */
export interface Gesture {
  group: string;
  title: string;
  how: string;
}

function keyLine(title: string, keys: readonly string[]): HTMLElement {
  const shown = keys.flatMap((key, index) => [index > 0 && " or ", h("kbd", {}, key)]);
  return h("div", { class: "help-line" }, h("dt", {}, title), h("dd", {}, ...shown));
}

/** True where the keys of a group work in one part of the window alone. */
function belongsToPanel(commands: Commands, group: string): boolean {
  const members = commands.all().filter((command) => command.group === group);
  return members.length > 0 && members.every((command) => command.scope !== undefined);
}

/** The help sheet: all keys and gestures by their groups. */
export function openHelp(commands: Commands, gestures: readonly Gesture[]): void {
  const groups = new Map<string, HTMLElement[]>();
  const add = (group: string, line: HTMLElement): void => {
    groups.set(group, [...(groups.get(group) ?? []), line]);
  };
  for (const command of commands.all()) {
    if (command.keys?.length) add(command.group, keyLine(command.title, command.keys.map(shownKey)));
  }
  for (const gesture of gestures) add(gesture.group, keyLine(gesture.title, [gesture.how]));
  const dialog = openDialog("Keys and gestures", { class: "help-sheet" });
  // Without anything in it that takes the keyboard, the sheet itself has to take it to be scrolled.
  dialog.body.tabIndex = 0;
  for (const [group, lines] of groups) {
    const note = belongsToPanel(commands, group) && h("span", {}, " – while that panel has the keyboard");
    dialog.body.append(h("section", {}, h("h3", {}, group, note), h("dl", {}, ...lines)));
  }
}

/** Every word that is typed has to be in the title or the group. */
function matches(command: Command, words: readonly string[]): boolean {
  const text = `${command.group} ${command.title}`.toLowerCase();
  return words.every((word) => text.includes(word));
}

/** The list of commands: typing narrows it, the arrow keys go through it, Enter runs one. */
export function openCommandList(commands: Commands): void {
  const list = h("div", { class: "command-list", role: "listbox", id: "command-list", "aria-label": "Commands" });
  const field = h("input", {
    type: "text",
    class: "command-field",
    role: "combobox",
    "aria-expanded": "true",
    "aria-controls": "command-list",
    "aria-label": "Search commands",
    placeholder: "Search commands",
    autofocus: true,
  });
  const dialog = openDialog("Commands", { class: "command-dialog" });
  dialog.body.append(field, list);

  let shown: Command[] = [];
  let at = 0;
  const runAt = (index: number): void => {
    const command = shown[index];
    dialog.close();
    if (command) commands.run(command.id);
  };
  const mark = (): void => {
    [...list.children].forEach((line, index) => line.setAttribute("aria-selected", String(index === at)));
    const line = list.children[at];
    if (!line) return field.removeAttribute("aria-activedescendant");
    field.setAttribute("aria-activedescendant", line.id);
    line.scrollIntoView({ block: "nearest" });
  };
  const fill = (): void => {
    const words = field.value.toLowerCase().split(/\s+/).filter(Boolean);
    shown = commands.all().filter((command) => commands.isEnabled(command) && matches(command, words));
    at = 0;
    list.replaceChildren(
      ...shown.map((command, index) =>
        h(
          "div",
          { class: "command-line", role: "option", id: `command-${index}`, click: () => runAt(index) },
          h("span", { class: "command-group" }, command.group),
          h("span", { class: "command-title" }, command.title),
          h("kbd", {}, command.keys?.[0] ? shownKey(command.keys[0]) : ""),
        ),
      ),
    );
    mark();
  };
  field.addEventListener("input", fill);
  field.addEventListener("keydown", (event) => {
    if (event.key === "Enter") runAt(at);
    else if (event.key === "ArrowDown") at = Math.min(at + 1, shown.length - 1);
    else if (event.key === "ArrowUp") at = Math.max(at - 1, 0);
    else return;
    event.preventDefault();
    mark();
  });
  fill();
  field.focus();
}
