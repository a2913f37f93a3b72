// Light, dark, or as the system has it.

const kept = "vrdx-theme";

export const themes = ["system", "dark", "light"];

export function theme() {
  const known = localStorage.getItem(kept);
  return themes.includes(known) ? known : "system";
}

export function setTheme(name) {
  localStorage.setItem(kept, name);
  applyTheme();
}

export function applyTheme() {
  const name = theme();
  if (name === "system") delete document.documentElement.dataset.theme;
  else document.documentElement.dataset.theme = name;
}
