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

function commandLine(command: Command, index: number, run: () => void): HTMLElement {
  return h(
    "div",
    { class: "command-line", role: "option", id: `command-${index}`, click: run },
    h("span", { class: "command-group" }, command.group),
    h("span", { class: "command-title" }, command.title),
    h("kbd", {}, command.keys?.[0] ? shownKey(command.keys[0]) : ""),
  );
}

class CommandList {
  private readonly list = h("div", { class: "command-list", role: "listbox", id: "command-list", "aria-label": "Commands" });
  private readonly field = h("input", {
    type: "text",
    class: "command-field",
    role: "combobox",
    "aria-expanded": "true",
    "aria-controls": "command-list",
    "aria-label": "Search commands",
    placeholder: "Search commands",
    autofocus: true,
  });
  private readonly dialog = openDialog("Commands", { class: "command-dialog" });
  private shown: Command[] = [];
  private at = 0;

  constructor(private readonly commands: Commands) {
    this.dialog.body.append(this.field, this.list);
    this.field.addEventListener("input", () => this.fill());
    this.field.addEventListener("keydown", (event) => this.handleKey(event));
    this.fill();
    this.field.focus();
  }

  private runAt(index: number): void {
    const command = this.shown[index];
    this.dialog.close();
    if (command) this.commands.run(command.id);
  }

  private fill(): void {
    const words = this.field.value.toLowerCase().split(/\s+/).filter(Boolean);
    this.shown = this.commands.all().filter((command) => this.commands.isEnabled(command) && matches(command, words));
    this.list.replaceChildren(...this.shown.map((command, index) => commandLine(command, index, () => this.runAt(index))));
    this.mark(0);
  }

  private mark(index: number): void {
    this.at = index;
    [...this.list.children].forEach((line, place) => line.setAttribute("aria-selected", String(place === index)));
    const line = this.list.children[index];
    if (!line) return this.field.removeAttribute("aria-activedescendant");
    this.field.setAttribute("aria-activedescendant", line.id);
    line.scrollIntoView({ block: "nearest" });
  }

  private handleKey(event: KeyboardEvent): void {
    if (event.key === "Enter") this.runAt(this.at);
    else if (event.key === "ArrowDown") this.mark(Math.min(this.at + 1, this.shown.length - 1));
    else if (event.key === "ArrowUp") this.mark(Math.max(this.at - 1, 0));
    else return;
    event.preventDefault();
  }
}

/** The list of commands: typing narrows it, the arrow keys go through it, Enter runs one. */
export function openCommandList(commands: Commands): void {
  new CommandList(commands);
}
