import type { App } from "./app";
import { h, oncePerFrame } from "./dom";
import type { MenuEntry } from "./menu";
import { type MenuOfBar, menuBar } from "./menubar";

/** Undo and redo with the names of their steps. */
function undoEntries(app: App): MenuEntry[] {
  return (["undo", "redo"] as const).map((way) => {
    const command = app.commands.get(`edit.${way}`);
    const name = app.document?.undoState()[way];
    const title = command?.title ?? way;
    return {
      title: name === undefined ? title : `${title}: ${name}`,
      keys: command?.keys?.[0] ?? "",
      enabled: name !== undefined,
      run: () => app.commands.run(`edit.${way}`),
    };
  });
}

/** The menus; what they say and do is in the commands. Panels add theirs by the ids of their commands. */
function menus(app: App): MenuOfBar[] {
  const ids = (group: string): MenuEntry[] =>
    app.commands
      .all()
      .filter((command) => command.group === group)
      .map((command) => command.id);
  return [
    {
      title: "File",
      entries: () => [
        "file.open",
        "file.save",
        { title: "Save a copy as", entries: ids("Save a copy as") },
      ],
    },
    {
      title: "Edit",
      entries: () => [...undoEntries(app), "-", "file.frameRate", "-", "keys.cut", "keys.copy", "keys.paste", "keys.pasteHere", "keys.delete", "-", "app.commands"],
    },
    { title: "Select", entries: () => ids("Select") },
    { title: "Keys", entries: () => ids("Keys") },
    { title: "Tangents", entries: () => ids("Tangents") },
    {
      title: "View",
      entries: () => [
        { title: "Times in", entries: ids("Times") },
        { title: "Appearance", entries: ids("Appearance") },
        "-",
        ...ids("View"),
        "-",
        ...ids("Motion view"),
        "-",
        { title: "Go to panel", entries: ids("Panels") },
      ],
    },
    { title: "Help", entries: () => ["help.keys", "app.commands"] },
  ];
}

/** The row at the top: menus, the file's name and what is known of it. */
export function mountHead(host: HTMLElement, app: App): void {
  const name = h("h1", { class: "head-name" });
  const facts = h("button", {
    type: "button",
    class: "head-facts",
    title: "Change the frame rate",
    click: () => app.commands.run("file.frameRate"),
  });
  host.append(menuBar(app.commands, menus(app)), h("div", { class: "head-gap" }), name, facts);

  const show = oncePerFrame(() => {
    const document = app.document;
    const mark = document?.isDirty ? " •" : "";
    name.textContent = document ? `${document.name}${mark}` : "yfcurve";
    name.title = document?.isDirty ? "There are changes that are not saved" : "";
    facts.hidden = !document;
    facts.textContent = document ? `${document.frameRate().text} frames a second` : "";
    globalThis.document.title = document ? `${document.name}${mark} – yfcurve` : "yfcurve editor";
  });
  for (const event of ["document", "changed", "saved"] as const) app.on(event, show);
  show();
}
